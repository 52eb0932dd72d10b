// UTF-8 into and out of a wide string.
//
//     const UTF8String name(reinterpret_cast<const char*>(u8"Größe"));
//     char bytes[64];
//     const int count = name.toUtf8(bytes, sizeof bytes);     // no terminator
#pragma once

#include <zmu/foundation/UTL_String.h>

/// A wide string that is exchanged as UTF-8 with three bytes a character at most: each 16-bit unit
/// stands by itself, so what lies beyond 16 bits is two characters of three bytes (where wchar_t is
/// wider, one element). Failures and threads as in UTL_String.
class ZMU_API UTF8String : public UTL_String {
  public:
    UTF8String();
    /// A wide copy of `text`; empty when null.
    explicit UTF8String(const wchar_t* text);
    /// Decodes `utf8`; empty when null. Overlong forms pass. Throws InvalidUtf8 for anything that
    /// is no sequence of one, two or three bytes.
    explicit UTF8String(const char* utf8);
    UTF8String(const UTF8String& other);
    UTF8String& operator=(const UTF8String& other);
    ~UTF8String() override;

    /// Encodes the text into at most `size` bytes of `buffer`, with no terminator, and returns the
    /// number of bytes. -1 when a character's bytes do not fit into what remains; but when the
    /// space is used up to its last byte that is a success, even with text left over.
    int toUtf8(char* buffer, unsigned size) const;
};
