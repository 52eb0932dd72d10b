// New strings made of a string, comparing and searching.
#include <zmu/foundation/UTL_String.h>
#include <zmu/foundation/internal/StringElements.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <type_traits>

using namespace zmu;

namespace {

/// The two widths of each call under one name.
struct Calls {
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
};

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

} // namespace

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
