// Decimal numbers of the spec grammars.
#pragma once

#include <zmu/foundation/Types.h>

#include <algorithm>
#include <limits>
#include <string_view>

namespace zmu {

inline bool isDigit(wchar_t character)
{
    return character >= L'0' && character <= L'9';
}

/// The end of `text` that begins with its first digit; empty if there is none.
inline std::wstring_view fromFirstDigit(std::wstring_view text)
{
    const auto digit = std::find_if(text.begin(), text.end(), isDigit);
    text.remove_prefix(static_cast<std::size_t>(digit - text.begin()));
    return text;
}

/// The number that begins `text`, 0 where none does; saturates.
template <class Number = int>
Number toNumber(std::wstring_view text)
{
    constexpr Number max = std::numeric_limits<Number>::max();
    Number number = 0;
    for (const wchar_t character : text) {
        if (!isDigit(character))
            break;
        const auto digit = static_cast<Number>(character - L'0');
        if (number > (max - digit) / 10)
            return max;
        number = number * 10 + digit;
    }
    return number;
}

} // namespace zmu
