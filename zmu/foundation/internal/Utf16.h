// Wide text at the border of the process: cut into 16-bit units.
#pragma once

#include <cstddef>
#include <cstring>

namespace zmu {

/// Units that one element of wide text can take.
inline constexpr std::size_t utf16UnitsMax = sizeof(wchar_t) > 2 ? 2 : 1;

/// Writes `length` elements as UTF-16 in the machine's byte order into `units`, which has room for
/// utf16UnitsMax times as many, and returns the number written. An element beyond U+10FFFF becomes
/// U+FFFD; a surrogate stays as it is.
inline std::size_t toUtf16(const wchar_t* text, std::size_t length, char16_t* units)
{
    if constexpr (sizeof(wchar_t) == sizeof(char16_t)) {
        std::memcpy(units, text, length * sizeof(char16_t));
        return length;
    } else {
        // Nearly every text is plain, and then goes over in one simple loop.
        char32_t all = 0;
        for (std::size_t i = 0; i < length; ++i) {
            all |= static_cast<char32_t>(text[i]);
            units[i] = static_cast<char16_t>(text[i]);
        }
        if (all < 0x10000)
            return length;
        char16_t* const begin = units;
        for (const wchar_t* const end = text + length; text != end; ++text) {
            const auto character = static_cast<char32_t>(*text);
            if (character < 0x10000) {
                *units++ = static_cast<char16_t>(character);
            } else if (character > 0x10FFFF) {
                *units++ = 0xFFFD;
            } else {
                *units++ = static_cast<char16_t>(0xD7C0 + (character >> 10));
                *units++ = static_cast<char16_t>(0xDC00 + (character & 0x3FF));
            }
        }
        return static_cast<std::size_t>(units - begin);
    }
}

} // namespace zmu
