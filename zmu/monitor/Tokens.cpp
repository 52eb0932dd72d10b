#include <zmu/monitor/Tokens.h>

#include <zmu/monitor/internal/Whitespace.h>

#include <cwchar>

namespace {

constexpr std::size_t lengthUnknown = static_cast<std::size_t>(-1);

wchar_t* findDelimiter(wchar_t* text, std::size_t length, const wchar_t* delimiters)
{
    if (!delimiters[1])
        return std::wmemchr(text, delimiters[0], length);
    for (wchar_t* const end = text + length; text != end; ++text) {
        if (std::wcschr(delimiters, *text))
            return text;
    }
    return nullptr;
}

} // namespace

wchar_t* nextToken(wchar_t* text, const wchar_t* delimiters, std::size_t& start,
                   std::size_t& position, std::size_t& length)
{
    if (!text || !delimiters || !*delimiters || position < start)
        return nullptr;
    if (length == lengthUnknown)
        length = std::wcslen(text);
    if (length == 0 || start > length || position > length)
        return nullptr;

    wchar_t* token = text + start;
    if (wchar_t* end = findDelimiter(text + position, length - position, delimiters)) {
        *end = L'\0';
        position = static_cast<std::size_t>(end - text) + 1;
        start = position;
    } else {
        position = length;
        start = position + 1;
    }
    return token;
}

bool countTokens(wchar_t* text, const wchar_t* delimiters, int& count, int maximum)
{
    count = 0;
    std::size_t start = 0;
    std::size_t position = 0;
    std::size_t length = lengthUnknown;
    while (nextToken(text, delimiters, start, position, length)) {
        ++count;
        if (maximum != 0 && count > maximum) {
            count = 0;
            return false;
        }
    }
    return true;
}

wchar_t* skipWhitespace(wchar_t* text)
{
    while (zmu::isWhitespace(*text))
        ++text;
    return text;
}
