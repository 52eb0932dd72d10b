// Decimal numbers of the spec grammars.
#pragma once

#include <climits>

namespace zmu {

inline bool isDigit(wchar_t character)
{
    return character >= L'0' && character <= L'9';
}

/// First digit of `text`, or null.
inline wchar_t* findDigit(wchar_t* text)
{
    for (; *text; ++text) {
        if (isDigit(*text))
            return text;
    }
    return nullptr;
}

/// The number that begins at `text`; saturates at INT_MAX.
inline int toNumber(const wchar_t* text)
{
    int number = 0;
    for (; isDigit(*text); ++text) {
        const int digit = *text - L'0';
        if (number > (INT_MAX - digit) / 10)
            return INT_MAX;
        number = number * 10 + digit;
    }
    return number;
}

} // namespace zmu
