// Decimal numbers of the spec grammars.
#pragma once

#include <limits>

namespace zmu {

inline bool isDigit(wchar_t character)
{
    return character >= L'0' && character <= L'9';
}

/// First digit of `text`, or null.
inline const wchar_t* findDigit(const wchar_t* text)
{
    for (; *text; ++text) {
        if (isDigit(*text))
            return text;
    }
    return nullptr;
}

/// The number that begins at `text`; saturates.
inline int toNumber(const wchar_t* text)
{
    constexpr int max = std::numeric_limits<int>::max();
    int number = 0;
    for (; isDigit(*text); ++text) {
        const int digit = static_cast<int>(*text - L'0');
        if (number > (max - digit) / 10)
            return max;
        number = number * 10 + digit;
    }
    return number;
}

} // namespace zmu
