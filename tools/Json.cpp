#include "Json.h"

#include <cstdio>

namespace zmu_tools {

namespace {

char32_t takeCharacter(std::u16string_view text, std::size_t& i)
{
    const char16_t unit = text[i++];
    if (unit < 0xd800 || unit >= 0xe000)
        return unit;
    if (unit >= 0xdc00 || i == text.size() || text[i] < 0xdc00 || text[i] >= 0xe000)
        return 0xfffd;
    return (char32_t(unit) << 10) + text[i++] - 0x35fdc00;
}

void put(std::string& output, char32_t character)
{
    const auto tail = [&output, character](int shift) {
        output += static_cast<char>(0x80 | ((character >> shift) & 0x3f));
    };
    if (character < 0x80) {
        output += static_cast<char>(character);
    } else if (character < 0x800) {
        output += static_cast<char>(0xc0 | (character >> 6));
        tail(0);
    } else if (character < 0x10000) {
        output += static_cast<char>(0xe0 | (character >> 12));
        tail(6);
        tail(0);
    } else {
        output += static_cast<char>(0xf0 | (character >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
}

} // namespace

void appendUtf8(std::string& output, std::u16string_view text)
{
    for (std::size_t i = 0; i < text.size();)
        put(output, takeCharacter(text, i));
}

void appendJson(std::string& output, std::u16string_view text)
{
    output += '"';
    for (std::size_t i = 0; i < text.size();) {
        const char32_t character = takeCharacter(text, i);
        if (character == U'"' || character == U'\\') {
            output += '\\';
            output += static_cast<char>(character);
        } else if (character == U'\n') {
            output += "\\n";
        } else if (character < 0x20 || (character >= 0x7f && character < 0xa0)) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", unsigned(character));
            output += escape;
        } else {
            put(output, character);
        }
    }
    output += '"';
}

} // namespace zmu_tools
