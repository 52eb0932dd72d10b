// White space in front of what the parsers read.
#pragma once

#include <cwctype>
#include <string_view>

namespace zmu {

/// As the locale has it; every one agrees about the plain characters, which are nearly all.
inline bool isWhitespace(wchar_t character)
{
    constexpr wchar_t plainEnd = 0x80;
    if (character > L' ' && character < plainEnd)
        return false;
    return character && std::iswspace(static_cast<std::wint_t>(character));
}

inline std::wstring_view withoutLeadingWhitespace(std::wstring_view text)
{
    while (!text.empty() && isWhitespace(text.front()))
        text.remove_prefix(1);
    return text;
}

} // namespace zmu
