#include <zmu/foundation/UTF8String.h>

#include <zmu/foundation/internal/Utf16.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

namespace {

using zmu::StringFault;

struct Decoded {
    unsigned unit;
    std::size_t bytesUsed;
};

bool isContinuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

Decoded decodeUnit(const char* utf8, std::size_t remaining)
{
    const auto byte = [&](int i) { return static_cast<unsigned char>(utf8[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80)
        return {lead, 1};
    if ((lead & 0xE0) == 0xC0 && remaining >= 2 && isContinuation(byte(1)))
        return {(lead & 0x1F) << 6 | (byte(1) & 0x3Fu), 2};
    if ((lead & 0xF0) == 0xE0 && remaining >= 3 && isContinuation(byte(1)) &&
        isContinuation(byte(2)))
        return {(lead & 0x0F) << 12 | (byte(1) & 0x3Fu) << 6 | (byte(2) & 0x3Fu), 3};
    throw UTL_Exception(StringFault::InvalidUtf8);
}

/// One element of wide text. Where an element holds a code point, two surrogates make one.
Decoded decodeElement(const char* utf8, std::size_t remaining)
{
    const Decoded first = decodeUnit(utf8, remaining);
    const bool mayBePair = sizeof(wchar_t) > 2 && (first.unit & 0xFC00) == 0xD800;
    if (!mayBePair || remaining == first.bytesUsed)
        return first;
    const Decoded second = decodeUnit(utf8 + first.bytesUsed, remaining - first.bytesUsed);
    if ((second.unit & 0xFC00) != 0xDC00)
        return first;
    return {0x10000 + ((first.unit & 0x3FF) << 10 | (second.unit & 0x3FF)),
            first.bytesUsed + second.bytesUsed};
}

/// Encodes one unit into [out, end); null when its bytes do not fit.
char* encodeUnit(unsigned unit, char* out, const char* end)
{
    const int count = unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
    if (end - out < count)
        return nullptr;
    if (count == 1) {
        *out++ = static_cast<char>(unit);
        return out;
    }
    if (count == 2) {
        *out++ = static_cast<char>(0xC0 | unit >> 6);
    } else {
        *out++ = static_cast<char>(0xE0 | unit >> 12);
        *out++ = static_cast<char>(0x80 | (unit >> 6 & 0x3F));
    }
    *out++ = static_cast<char>(0x80 | (unit & 0x3F));
    return out;
}

} // namespace

UTF8String::UTF8String() = default;

UTF8String::UTF8String(const wchar_t* text) : UTL_String(text) {}

UTF8String::UTF8String(const char* utf8)
{
    const std::size_t bytes = utf8 ? std::strlen(utf8) : 0;
    u64 count = 0;
    for (std::size_t at = 0; at < bytes; ++count)
        at += decodeElement(utf8 + at, bytes - at).bytesUsed;
    if (count == 0)
        return;

    auto* text = new (std::nothrow) wchar_t[count + 1];
    if (!text)
        throw UTL_Exception(StringFault::OutOfMemory);
    std::size_t at = 0;
    for (u64 i = 0; i < count; ++i) {
        const Decoded element = decodeElement(utf8 + at, bytes - at);
        text[i] = static_cast<wchar_t>(element.unit);
        at += element.bytesUsed;
    }
    text[count] = L'\0';
    adopt(text, count);
}

UTF8String::UTF8String(const UTF8String& other) = default;
UTF8String& UTF8String::operator=(const UTF8String& other) = default;
UTF8String::~UTF8String() = default;

int UTF8String::toUtf8(char* buffer, unsigned size) const
{
    const wchar_t* text = wideText();
    const u64 count = convertedLength(StringEncoding::Wide);
    if (!buffer)
        return count == 0 ? 0 : -1;
    char* out = buffer;
    const char* end = buffer + std::min(size, static_cast<unsigned>(INT_MAX));
    for (u64 i = 0; i < count; ++i) {
        char16_t units[zmu::utf16UnitsMax];
        const std::size_t unitsQty = zmu::toUtf16(text + i, 1, units);
        for (std::size_t unit = 0; unit < unitsQty; ++unit) {
            if (out == end)
                return static_cast<int>(out - buffer);
            out = encodeUnit(units[unit], out, end);
            if (!out)
                return -1;
        }
    }
    return static_cast<int>(out - buffer);
}
