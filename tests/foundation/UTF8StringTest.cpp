#include "Fault.h"

#include <zmu/foundation/UTF8String.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

TEST(UTF8String, ThreeBytesACharacterAtMostInBothDirections)
{
    const std::pair<const wchar_t*, const char*> cases[] = {
        {L"A\x7F\u0080\u07FF", "A\x7F\xC2\x80\xDF\xBF"},
        {L"\u0800\xFFFF", "\xE0\xA0\x80\xEF\xBF\xBF"},
        {L"\U00010000\U0010FFFF", "\xED\xA0\x80\xED\xB0\x80\xED\xAF\xBF\xED\xBF\xBF"}};
    for (const auto& [text, utf8] : cases) {
        char bytes[64];
        const int count = UTF8String(text).toUtf8(bytes, sizeof bytes);
        EXPECT_EQ(std::string(bytes, static_cast<std::size_t>(std::max(count, 0))), utf8);
        EXPECT_STREQ(UTF8String(utf8).wideText(), text);
    }
    const wchar_t loneSurrogates[] = {wchar_t(0xD83D), L'!', wchar_t(0xDE00), 0};
    EXPECT_STREQ(UTF8String("\xED\xA0\xBD!\xED\xB8\x80").wideText(), loneSurrogates);
    EXPECT_STREQ(UTF8String("\xC1\x81\xE0\x81\x81").wideText(), L"AA"); // overlong forms
    EXPECT_EQ(UTF8String("").length(), 0U);
    EXPECT_EQ(UTF8String(static_cast<const char*>(nullptr)).length(), 0U);
}

TEST(UTF8String, RefusesEverythingElse)
{
    for (const char* utf8 :
         {"\x80", "\xBF", "\xC3", "\xC3(", "\xE2\x82", "\xE2", "\xE2(\xA1", "\xE2\x82(",
          "\xF0\x9F\x98\x80", "\xFF", "good\xC3", "\xED\xA0\xBD\xED"})
        EXPECT_EQ(Fault::of([&] { UTF8String text(utf8); }), zmu::InvalidUtf8) << utf8;
}

TEST(UTF8String, SpaceUsedUpExactlyIsASuccess)
{
    const UTF8String text(L"a\u00E9\u20AC\U0001F600z"); // 1, 2, 3, 3 + 3 and 1 bytes
    const int expected[] = {0, 1, -1, 3, -1, -1, 6, -1, -1, 9, -1, -1, 12, 13, 13, 13};
    for (unsigned size = 0; size < std::size(expected); ++size) {
        std::string bytes(size, '#'); // its terminator stands guard
        EXPECT_EQ(text.toUtf8(bytes.data(), size), expected[size]) << size;
        EXPECT_EQ(bytes.data()[size], '\0') << size;
    }
    EXPECT_EQ(text.toUtf8(nullptr, 5), -1);
    EXPECT_EQ(UTF8String().toUtf8(nullptr, 5), 0);
}
