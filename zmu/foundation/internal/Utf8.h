// UTF-8, strictly: no overlong form, no surrogate, nothing beyond the last code point.
#pragma once

#include <cstddef>

namespace zmu {

inline constexpr char32_t replacementCharacter = 0xFFFD;
inline constexpr char32_t lastCodePoint = 0x10FFFF;

inline constexpr bool isSurrogate(char32_t point)
{
    return point >= 0xD800 && point <= 0xDFFF;
}

/// Takes one code point off `source`, which is not at its end. What is no valid sequence gives one
/// U+FFFD for the bytes that could have begun one, so the byte that broke it is looked at again.
/// `end` may be null for text with a terminator, which breaks any sequence.
inline char32_t takeUtf8(const char*& source, const char* end)
{
    const auto lead = static_cast<unsigned char>(*source++);
    if (lead < 0x80)
        return lead;
    if (lead < 0xC2 || lead > 0xF4)
        return replacementCharacter;
    int pending = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    // The range of the second byte is what keeps out the forms that are not allowed.
    unsigned char least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned char most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t point = lead & (0x3F >> pending);
    for (; pending != 0; --pending) {
        const auto next = static_cast<unsigned char>(source != end ? *source : '\0');
        if (next < least || next > most)
            return replacementCharacter;
        point = point << 6 | (next & 0x3F);
        least = 0x80;
        most = 0xBF;
        ++source;
    }
    return point;
}

/// Writes `point` to `to`, which has room for four bytes, and returns the end. What no text can
/// hold becomes U+FFFD.
inline char* putUtf8(char* to, char32_t point)
{
    if (point > lastCodePoint || isSurrogate(point))
        point = replacementCharacter;
    if (point < 0x80) {
        *to = static_cast<char>(point);
        return to + 1;
    }
    const int count = point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
    for (int i = count - 1; i > 0; --i) {
        to[i] = static_cast<char>(0x80 | (point & 0x3F));
        point >>= 6;
    }
    to[0] = static_cast<char>((0xF00 >> count & 0xFF) | point);
    return to + count;
}

} // namespace zmu
