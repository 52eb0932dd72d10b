#include <zmu/foundation/UTL_String.h>
#include <zmu/foundation/internal/LoadString.h>
#include <zmu/localize/ResourceModule.h>
#include <zmu/platform/EntryPoint.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <string>
#include <type_traits>

namespace {

using zmu::StringFault;

template <class Char>
using Elements = std::unique_ptr<Char[]>;

template <class Char>
constexpr StringEncoding encodingOf =
    std::is_same_v<Char, char> ? StringEncoding::Narrow : StringEncoding::Wide;

/// The text of every empty string, narrow and wide: four zero bytes.
constexpr wchar_t emptyText[4 / sizeof(wchar_t)] = {};

template <class Char>
const Char* emptyTextOf()
{
    return reinterpret_cast<const Char*>(emptyText);
}

/// Room for `length` elements and the terminator, which is set; the others are not.
template <class Char>
Elements<Char> allocate(u64 length)
{
    if (length >= PTRDIFF_MAX / sizeof(Char))
        throw UTL_Exception(StringFault::OutOfMemory);
    Elements<Char> elements(new (std::nothrow) Char[static_cast<std::size_t>(length) + 1]);
    if (!elements)
        throw UTL_Exception(StringFault::OutOfMemory);
    elements[length] = Char();
    return elements;
}

template <class Char>
void copyTo(Char* target, const Char* text, u64 length)
{
    std::char_traits<Char>::move(target, text, static_cast<std::size_t>(length));
}

template <class Char>
Elements<Char> duplicate(const Char* text, u64 length)
{
    Elements<Char> elements = allocate<Char>(length);
    copyTo(elements.get(), text, length);
    return elements;
}

template <class Char>
u64 lengthOf(const Char* text)
{
    return std::char_traits<Char>::length(text);
}

/// A capacity as the loaders take it.
int toBufferMax(unsigned capacity)
{
    return static_cast<int>(std::min(capacity, static_cast<unsigned>(INT_MAX)));
}

/// Whatever a loader claims to have written, the text ends within the buffer.
template <class Char>
int terminate(Char* elements, int claimed, int bufferMax)
{
    const int length = std::max(0, std::min(claimed, bufferMax - 1));
    elements[length] = Char();
    return static_cast<int>(lengthOf(elements)); // a loader may claim more than it wrote
}

/// The two widths of each call under one name.
struct Calls {
    static HMODULE findModule(const char* name) { return GetModuleHandleA(name); }
    static HMODULE findModule(const wchar_t* name) { return GetModuleHandleW(name); }

    static int loadString(HMODULE module, unsigned id, char* buffer, int bufferMax)
    {
        return LoadStringA(module, id, buffer, bufferMax);
    }
    static int loadString(HMODULE module, unsigned id, wchar_t* buffer, int bufferMax)
    {
        return LoadStringW(module, id, buffer, bufferMax);
    }

    static int windowTextLength(HWND window, const char*) { return GetWindowTextLengthA(window); }
    static int windowTextLength(HWND window, const wchar_t*)
    {
        return GetWindowTextLengthW(window);
    }

    static int windowText(HWND window, char* buffer, int size)
    {
        return GetWindowTextA(window, buffer, size);
    }
    static int windowText(HWND window, wchar_t* buffer, int size)
    {
        return GetWindowTextW(window, buffer, size);
    }

    static DWORD expand(const char* text, char* output, DWORD size)
    {
        return ExpandEnvironmentStringsA(text, output, size);
    }
    static DWORD expand(const wchar_t* text, wchar_t* output, DWORD size)
    {
        return ExpandEnvironmentStringsW(text, output, size);
    }

    static DWORD shorten(const char* path, char* output, DWORD size)
    {
        return GetShortPathNameA(path, output, size);
    }
    static DWORD shorten(const wchar_t* path, wchar_t* output, DWORD size)
    {
        return GetShortPathNameW(path, output, size);
    }

    static int format(char* output, std::size_t size, const char* format, va_list arguments)
    {
        return std::vsnprintf(output, size, format, arguments);
    }
    static int format(wchar_t* output, std::size_t size, const wchar_t* format, va_list arguments)
    {
        return std::vswprintf(output, size, format, arguments);
    }
};

template <class Char>
Elements<Char> allocateFormatted(std::size_t capacity, const Char* format)
{
    if (capacity == 0 || !format)
        throw UTL_Exception(StringFault::BadArguments);
    return allocate<Char>(capacity - 1);
}

u64 checkFormatted(int length, std::size_t capacity)
{
    if (length < 0 || static_cast<std::size_t>(length) >= capacity)
        throw UTL_Exception(StringFault::BadArguments);
    return static_cast<u64>(length);
}

/// Finds the module of a string resource; the codes of bad arguments differ by the name's width.
template <class Char>
HMODULE requireModule(const Char* name, unsigned capacity)
{
    if (capacity == 0 || !name)
        throw UTL_Exception(encodingOf<Char> == StringEncoding::Narrow
                                ? StringFault::BadNarrowArguments
                                : StringFault::BadArguments);
    const HMODULE module = Calls::findModule(name);
    if (!module)
        throw UTL_Exception(StringFault::ModuleNotLoaded);
    return module;
}

/// The result of a system call that is asked for the size first and for the text then.
template <class Char, class Call>
Elements<Char> askTwice(const Char* text, Call call)
{
    const DWORD size = call(text, static_cast<Char*>(nullptr), 0);
    Elements<Char> output = allocate<Char>(size);
    const DWORD result = call(text, output.get(), size);
    if (result == 0 || result > size)
        throw UTL_Exception(StringFault::SystemCallFailed);
    return output;
}

[[noreturn]] void throwSizeQueryFailed()
{
    switch (GetLastError()) {
    case ERROR_INSUFFICIENT_BUFFER:
        throw UTL_Exception(StringFault::SizeQueryBufferTooSmall);
    case ERROR_NO_UNICODE_TRANSLATION:
        throw UTL_Exception(StringFault::SizeQueryUntranslatable);
    default:
        throw UTL_Exception(StringFault::SystemCallFailed);
    }
}

} // namespace

int zmu::loadString(HMODULE module, unsigned int id, wchar_t* buffer, int bufferMax)
{
    SetLastError(ERROR_SUCCESS);
    int length = 0;
    const auto entry = entryPoint<LoadStringFunction>(module, LoadStringEntry);
    buffer[0] = L'\0';
    if (entry)
        length = terminate(buffer, entry(id, buffer, bufferMax), bufferMax);
    else
        SetLastError(ERROR_FILE_NOT_FOUND);
    if (length == 0) {
        // A string table without the string must not turn the entry's "exists and is empty" into
        // an error.
        const DWORD answer = GetLastError();
        length = terminate(buffer, LoadStringW(module, id, buffer, bufferMax), bufferMax);
        SetLastError(answer);
    }
    return length;
}

// ---- The two representations ----

template <>
char*& UTL_String::buffer<char>() const
{
    return m_narrow;
}

template <>
wchar_t*& UTL_String::buffer<wchar_t>() const
{
    return m_wide;
}

StringEncoding UTL_String::activeEncoding() const
{
    const auto encoding = static_cast<StringEncoding>(m_encoding);
    if (encoding != StringEncoding::Narrow && encoding != StringEncoding::Wide)
        throw UTL_Exception(StringFault::UnknownEncoding);
    return encoding;
}

/// The text in the string's own encoding, which must be that of Char.
template <class Char>
const Char* UTL_String::activeText() const
{
    if (m_length == 0)
        return emptyTextOf<Char>();
    if (!buffer<Char>())
        throw UTL_Exception(encodingOf<Char> == StringEncoding::Narrow
                                ? StringFault::NarrowTextMissing
                                : StringFault::WideTextMissing);
    return buffer<Char>();
}

/// Hands the text in the string's own encoding to `body`, which takes either width.
template <class Body>
auto UTL_String::withActiveText(Body body) const
{
    if (activeEncoding() == StringEncoding::Narrow)
        return body(activeText<char>());
    return body(activeText<wchar_t>());
}

template <>
const char* UTL_String::text<char>() const
{
    return narrowText();
}

template <>
const wchar_t* UTL_String::text<wchar_t>() const
{
    return wideText();
}

void UTL_String::adopt(char* elements, u64 length)
{
    clear();
    m_narrow = elements;
    m_length = length;
    m_encoding = static_cast<u64>(StringEncoding::Narrow);
}

void UTL_String::adopt(wchar_t* elements, u64 length)
{
    clear();
    m_wide = elements;
    m_length = length;
    m_encoding = static_cast<u64>(StringEncoding::Wide);
}

const wchar_t* UTL_String::wideText() const
{
    if (activeEncoding() == StringEncoding::Wide)
        return activeText<wchar_t>();
    const char* source = activeText<char>();
    if (m_length == 0)
        return emptyTextOf<wchar_t>();
    delete[] m_wide;
    m_wide = nullptr;
    const u64 count = convertedLength(StringEncoding::Wide);
    m_wide = allocate<wchar_t>(count).release();
    const int written = MultiByteToWideChar(CP_ACP, 0, source, static_cast<int>(m_length), m_wide,
                                            static_cast<int>(count));
    if (static_cast<u64>(written) != count)
        throw UTL_Exception(StringFault::WidenedCountDiffers);
    return m_wide;
}

const char* UTL_String::narrowText() const
{
    if (activeEncoding() == StringEncoding::Narrow)
        return activeText<char>();
    const wchar_t* source = activeText<wchar_t>();
    if (m_length == 0)
        return emptyTextOf<char>();
    delete[] m_narrow;
    m_narrow = nullptr;
    const u64 count = convertedLength(StringEncoding::Narrow);
    m_narrow = allocate<char>(count).release();
    const int written = WideCharToMultiByte(CP_ACP, 0, source, static_cast<int>(m_length), m_narrow,
                                            static_cast<int>(count), nullptr, nullptr);
    if (static_cast<u64>(written) != count)
        throw UTL_Exception(StringFault::NarrowedCountDiffers);
    return m_narrow;
}

u64 UTL_String::convertedLength(StringEncoding target) const
{
    const StringEncoding active = activeEncoding();
    if (target != StringEncoding::Narrow && target != StringEncoding::Wide)
        throw UTL_Exception(StringFault::BadNarrowArguments);
    if (m_length == 0 || active == target)
        return m_length;

    // The conversions count in int; a longer text must not reach them as a negative length.
    const int length = m_length <= INT_MAX ? static_cast<int>(m_length) : 0;
    if (active == StringEncoding::Wide) {
        const int count =
            WideCharToMultiByte(CP_ACP, 0, m_wide, length, nullptr, 0, nullptr, nullptr);
        if (count <= 0)
            throw UTL_Exception(StringFault::NarrowSizeQueryFailed);
        return static_cast<u64>(count);
    }
    const int count = MultiByteToWideChar(CP_ACP, 0, m_narrow, length, nullptr, 0);
    if (count <= 0)
        throwSizeQueryFailed();
    return static_cast<u64>(count);
}

// ---- Construction ----
//
// Each constructor that may throw delegates to the empty one, so that the destructor releases what
// was there at the throw.

UTL_String::UTL_String() = default;

UTL_String::UTL_String(const char* text) : UTL_String()
{
    if (text)
        assign(text, lengthOf(text));
}

UTL_String::UTL_String(const wchar_t* text) : UTL_String()
{
    if (text)
        assign(text, lengthOf(text));
}

UTL_String::UTL_String(const UTL_String& other) : UTL_String()
{
    other.withActiveText([&](const auto* text) { assign(text, other.m_length); });
}

UTL_String::UTL_String(int value) : UTL_String()
{
    char digits[32];
    std::snprintf(digits, sizeof digits, "%d", value);
    assign(digits, lengthOf(digits));
}

UTL_String::UTL_String(std::size_t capacity, const char* format, ...) : UTL_String()
{
    Elements<char> output = allocateFormatted(capacity, format);
    va_list arguments;
    va_start(arguments, format);
    const int length = Calls::format(output.get(), capacity, format, arguments);
    va_end(arguments);
    const u64 checked = checkFormatted(length, capacity);
    adopt(output.release(), checked);
}

UTL_String::UTL_String(std::size_t capacity, const wchar_t* format, ...) : UTL_String()
{
    Elements<wchar_t> output = allocateFormatted(capacity, format);
    va_list arguments;
    va_start(arguments, format);
    const int length = Calls::format(output.get(), capacity, format, arguments);
    va_end(arguments);
    const u64 checked = checkFormatted(length, capacity);
    adopt(output.release(), checked);
}

UTL_String::UTL_String(const char* moduleName, unsigned id, unsigned capacity) : UTL_String()
{
    loadFromNamedModule<char>(requireModule(moduleName, capacity), id, capacity);
}

UTL_String::UTL_String(const wchar_t* moduleName, unsigned id, unsigned capacity) : UTL_String()
{
    loadFromNamedModule<wchar_t>(requireModule(moduleName, capacity), id, capacity);
}

template <class Char>
void UTL_String::loadFromNamedModule(HMODULE module, unsigned id, unsigned capacity)
{
    Elements<Char> output = allocate<Char>(capacity - 1);
    const int bufferMax = toBufferMax(capacity);
    const int length =
        terminate(output.get(), Calls::loadString(module, id, output.get(), bufferMax), bufferMax);
    if (length == 0)
        throw UTL_Exception(StringFault::ResourceNotLoaded);
    adopt(output.release(), static_cast<u64>(length));
}

UTL_String::UTL_String(HMODULE module, unsigned id, unsigned capacity) : UTL_String()
{
    if (loadFromModule(module, id, capacity) == 0 && GetLastError() != ERROR_SUCCESS)
        throw UTL_Exception(StringFault::ResourceNotLoaded);
}

UTL_String::~UTL_String()
{
    clear();
}

// ---- Changing ----

void UTL_String::clear()
{
    delete[] m_wide;
    delete[] m_narrow;
    m_wide = nullptr;
    m_narrow = nullptr;
    m_length = 0;
    m_encoding = static_cast<u64>(StringEncoding::Narrow);
}

UTL_String& UTL_String::operator=(const UTL_String& source)
{
    if (this == &source)
        return *this;
    if (source.m_length == 0)
        clear();
    else
        source.withActiveText([&](const auto* text) { assign(text, source.m_length); });
    return *this;
}

template <class Char>
void UTL_String::assign(const Char* text, u64 length)
{
    using Other = std::conditional_t<std::is_same_v<Char, char>, wchar_t, char>;
    const u64 encoding = static_cast<u64>(encodingOf<Char>);
    if (m_encoding != encoding || m_length < length)
        clear();
    m_encoding = encoding;
    delete[] buffer<Other>();
    buffer<Other>() = nullptr;
    if (!buffer<Char>())
        buffer<Char>() = allocate<Char>(length).release();
    m_length = length;
    copyTo(buffer<Char>(), text, length);
    buffer<Char>()[length] = Char();
}

UTL_String& UTL_String::operator+=(const UTL_String& other)
{
    return *this = *this + other;
}

int UTL_String::loadFromModule(HMODULE module, unsigned id, unsigned capacity)
{
    if (capacity == 0 || !module)
        throw UTL_Exception(StringFault::BadArguments);
    clear();
    adopt(allocate<wchar_t>(capacity - 1).release(), 0);
    std::wmemset(m_wide, L'\0', capacity);
    const int length = zmu::loadString(module, id, m_wide, toBufferMax(capacity));
    m_length = static_cast<u64>(length);
    return length;
}

void UTL_String::useBackslashes()
{
    if (m_length == 0)
        return;
    withActiveText([&](const auto* text) {
        using Char = std::remove_cv_t<std::remove_pointer_t<decltype(text)>>;
        std::replace(buffer<Char>(), buffer<Char>() + m_length, Char('/'), Char('\\'));
    });
}

u64 UTL_String::loadWindowText(HWND window, StringEncoding encoding)
{
    clear();
    m_encoding = static_cast<u64>(encoding);
    withActiveText([&](const auto* text) {
        using Char = std::remove_cv_t<std::remove_pointer_t<decltype(text)>>;
        if (window)
            loadWindow<Char>(window);
    });
    return m_length;
}

template <class Char>
void UTL_String::loadWindow(HWND window)
{
    const int length =
        std::clamp(Calls::windowTextLength(window, emptyTextOf<Char>()), 0, INT_MAX - 1);
    Elements<Char> output = allocate<Char>(static_cast<u64>(length));
    if (Calls::windowText(window, output.get(), length + 1) != length)
        throw UTL_Exception(StringFault::BadArguments);
    adopt(output.release(), static_cast<u64>(length));
}

// ---- New strings ----

UTL_String UTL_String::operator+(const UTL_String& other) const
{
    if (other.m_length == 0)
        return *this;
    return withActiveText([&](const auto* head) {
        using Char = std::remove_cv_t<std::remove_pointer_t<decltype(head)>>;
        const Char* tail = other.text<Char>();
        const u64 tailLength = other.convertedLength(encodingOf<Char>);
        Elements<Char> joined = allocate<Char>(m_length + tailLength);
        copyTo(joined.get(), head, m_length);
        copyTo(joined.get() + m_length, tail, tailLength);
        UTL_String result;
        result.adopt(joined.release(), m_length + tailLength);
        return result;
    });
}

UTL_String operator+(const char* left, const UTL_String& right)
{
    return UTL_String(left) + right;
}

UTL_String operator+(const wchar_t* left, const UTL_String& right)
{
    return UTL_String(left) + right;
}

UTL_String UTL_String::substring(u64 start, u64 count) const
{
    return withActiveText([&](const auto* text) {
        const u64 begin = std::min(start, m_length);
        const u64 length = std::min(count, m_length - begin);
        UTL_String result;
        result.adopt(duplicate(text + begin, length).release(), length);
        return result;
    });
}

UTL_String UTL_String::stripQuotes() const
{
    const bool isQuoted = withActiveText([&](const auto* text) {
        return m_length > 1 && text[0] == '"' && text[m_length - 1] == '"';
    });
    return isQuoted ? substring(1, m_length - 2) : *this;
}

UTL_String UTL_String::prefixBefore(const UTL_String& delimiters) const
{
    return withActiveText([&](const auto* text) {
        using Char = std::remove_cv_t<std::remove_pointer_t<decltype(text)>>;
        if (delimiters.m_length == 0)
            return substring(0, 0);
        const Char* delimiter = delimiters.text<Char>();
        const Char* last = delimiter + delimiters.convertedLength(encodingOf<Char>);
        for (; delimiter != last; ++delimiter) {
            const u64 end = findElement(*delimiter, 0);
            if (end != npos)
                return substring(0, end);
        }
        return UTL_String(*this);
    });
}

UTL_String UTL_String::trimmed() const
{
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\n'; };
    const char* text = narrowText();
    const u64 length = convertedLength(StringEncoding::Narrow);
    u64 leading = 0;
    while (leading < length && isBlank(text[leading]))
        ++leading;
    if (leading == length)
        return substring(0, 0);
    u64 trailing = 0;
    while (isBlank(text[length - 1 - trailing]))
        ++trailing;
    // Blanks take one element in either encoding, so their numbers hold for this text as well.
    return substring(leading, m_length - leading - trailing);
}

UTL_String UTL_String::mapBytes(int (*map)(int)) const
{
    if (activeEncoding() == StringEncoding::Wide)
        return UTL_String();
    UTL_String result(*this);
    for (u64 i = 0; i < m_length; ++i)
        result.m_narrow[i] = static_cast<char>(map(static_cast<unsigned char>(m_narrow[i])));
    return result;
}

UTL_String UTL_String::toLower() const
{
    return mapBytes([](int c) { return std::tolower(c); });
}

UTL_String UTL_String::toUpper() const
{
    return mapBytes([](int c) { return std::toupper(c); });
}

UTL_String UTL_String::expandEnvironment() const
{
    return withActiveText([&](const auto* text) {
        using Char = std::remove_cv_t<std::remove_pointer_t<decltype(text)>>;
        if (findElement(Char('%'), 0) == npos)
            return UTL_String(*this);
        const auto call = [](auto... arguments) { return Calls::expand(arguments...); };
        Elements<Char> expanded = askTwice(text, call);
        const u64 length = lengthOf(expanded.get());
        UTL_String result;
        result.adopt(expanded.release(), length);
        return result;
    });
}

UTL_String UTL_String::shortPath() const
{
    if (m_length == 0)
        return *this;
    return withActiveText([&](const auto* text) {
        const auto call = [](auto... arguments) { return Calls::shorten(arguments...); };
        auto path = askTwice(text, call);
        const u64 length = lengthOf(path.get());
        UTL_String result;
        result.adopt(path.release(), length);
        return result;
    });
}

// ---- Comparing ----

int UTL_String::toInt() const
{
    return std::atoi(narrowText());
}

bool UTL_String::operator==(const UTL_String& other) const
{
    if (m_length != other.m_length)
        return false;
    return m_length == 0 || std::strcmp(narrowText(), other.narrowText()) == 0;
}

bool UTL_String::operator<(const UTL_String& other) const
{
    switch (static_cast<StringEncoding>(m_encoding)) {
    case StringEncoding::Narrow:
        return std::strcmp(narrowText(), other.narrowText()) < 0;
    case StringEncoding::Wide:
        return std::wcscmp(wideText(), other.wideText()) < 0;
    }
    return false;
}

/// Whether `text` stands at `index`, by the rule of operator==.
bool UTL_String::holdsAt(u64 index, const UTL_String& text) const
{
    return substring(index, text.m_length) == text;
}

bool UTL_String::beginsWith(const UTL_String& other) const
{
    return holdsAt(0, other);
}

bool UTL_String::endsWith(const UTL_String& other) const
{
    const auto difference = static_cast<std::int32_t>(m_length - other.m_length);
    return difference >= 0 && holdsAt(static_cast<u64>(difference), other);
}

bool UTL_String::equalsPart(const UTL_String& other, unsigned limit, unsigned start) const
{
    const u64 shorter = std::min(m_length, other.m_length);
    const u64 count = limit == 0 ? shorter : std::min<u64>(limit, shorter);
    const u64 begin = start > count ? 0 : start;
    // The limit counts from `start` on: what is compared may end behind it.
    return substring(begin, count) == other.substring(begin, count);
}

bool UTL_String::equalsPart(const char* other, unsigned limit, unsigned start) const
{
    return equalsPart(UTL_String(other), limit, start);
}

// ---- Searching ----

u64 UTL_String::find(const UTL_String& text, u64 from) const
{
    if (m_length < text.m_length)
        return npos;
    for (u64 index = from; index <= m_length - text.m_length; ++index) {
        if (holdsAt(index, text))
            return index;
    }
    return npos;
}

u64 UTL_String::findLast(const UTL_String& text, u64 from) const
{
    if (m_length < text.m_length)
        return npos;
    for (u64 next = m_length - text.m_length + 1; next > from; --next) {
        if (holdsAt(next - 1, text))
            return next - 1;
    }
    return npos;
}

template <class Char>
u64 UTL_String::findElement(Char c, u64 from) const
{
    const Char* elements = text<Char>();
    const u64 length = convertedLength(encodingOf<Char>);
    for (u64 index = from; index < length; ++index) {
        if (elements[index] == c)
            return index;
    }
    return npos;
}

template <class Char>
u64 UTL_String::findLastElement(Char c, u64 from) const
{
    const Char* elements = text<Char>();
    for (u64 next = convertedLength(encodingOf<Char>); next > from; --next) {
        if (elements[next - 1] == c)
            return next - 1;
    }
    return npos;
}

u64 UTL_String::find(char c, u64 from) const
{
    return findElement(c, from);
}

u64 UTL_String::find(wchar_t c, u64 from) const
{
    return findElement(c, from);
}

u64 UTL_String::findLast(char c, u64 from) const
{
    return findLastElement(c, from);
}

u64 UTL_String::findLast(wchar_t c, u64 from) const
{
    return findLastElement(c, from);
}

bool UTL_String::matches(const UTL_String& pattern) const
{
    const char* text = narrowText();
    const char* form = pattern.narrowText();
    // Runs at the end of the pattern take no text, so they may as well not be there.
    const char* formEnd = form + std::strlen(form);
    while (formEnd != form && formEnd[-1] == '*')
        --formEnd;

    // The latest run and the text that it does not reach yet. To lengthen that run is enough: an
    // earlier one would only give the later parts of the pattern less text to be found in.
    const char* run = nullptr;
    const char* runEnd = nullptr;
    while (*text != '\0') {
        if (form != formEnd && *form == '*') {
            run = ++form;
            runEnd = text;
        } else if (form != formEnd && (*form == '?' || *form == *text)) {
            ++form;
            ++text;
        } else if (run) {
            form = run;
            text = ++runEnd;
        } else {
            return false;
        }
    }
    // A run before the end of the text that is left over has nothing behind it to be found.
    return form == formEnd;
}
