// A string's two representations, how it is made and changed. UTL_StringText.cpp makes new strings
// of it, compares and searches.
#include <zmu/foundation/UTL_String.h>
#include <zmu/foundation/internal/LoadString.h>
#include <zmu/foundation/internal/StringElements.h>
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

using namespace zmu;

namespace {

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

LoadStringFunction zmu::findStringEntry(HMODULE module)
{
    return entryPoint<LoadStringFunction>(module, LoadStringEntry);
}

int zmu::loadString(HMODULE module, unsigned int id, wchar_t* buffer, int bufferMax)
{
    return loadString(module, findStringEntry(module), id, buffer, bufferMax);
}

int zmu::loadString(HMODULE module, LoadStringFunction entry, unsigned int id, wchar_t* buffer,
                    int bufferMax)
{
    SetLastError(ERROR_SUCCESS);
    int length = 0;
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

StringEncoding UTL_String::activeEncoding() const
{
    const auto encoding = static_cast<StringEncoding>(m_encoding);
    if (encoding != StringEncoding::Narrow && encoding != StringEncoding::Wide)
        throw UTL_Exception(StringFault::UnknownEncoding);
    return encoding;
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
