// Message formatting where it is the library's own: what the recorded cases leave out.
#include "Formatted.h"

#include <cstdlib>
#include <limits>
#include <vector>

using namespace zmu_test;

namespace {
[[maybe_unused]] thread_local int allocations = 0;
}

// Counting calls needs a malloc of our own, which a sanitizer would not stand.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool countsAllocations = false;
#else
constexpr bool countsAllocations = true;
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* malloc(std::size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}
#endif

namespace {

class MessageFormatSlots : public testing::Test {
  protected:
    const std::unique_ptr<wchar_t[]> unterminated{new wchar_t[3]{L'a', L'b', L'c'}};
    // 1, 2, 8, 9: numbers for stars. 5: cut-off, overlong, surrogate and stray bytes.
    std::vector<u64> values = [this] {
        std::vector<u64> list(99);
        list[0] = 6;
        list[1] = 2;
        list[2] = slot(L"wide");
        list[3] = 0;
        list[4] = slot("\xC3\xA9|\xE2\x82\xAC|\xF0\x9F\x98\x80|\xC0\xAF|\xED\xA0\x80|\xE2\x82");
        list[5] = 0x1234567890ABCDEF;
        list[6] = static_cast<u64>(std::numeric_limits<i64>::min());
        list[7] = static_cast<u64>(-6);
        list[8] = static_cast<u64>(-1);
        list[9] = slot(L"wide");
        list[10] = slot(unterminated.get());
        list[11] = slot(L"one\ttwo  three\r\nfour");
        return list;
    }();
};

TEST_F(MessageFormatSlots, Texts)
{
    const struct {
        unsigned width;
        const wchar_t* message;
        const wchar_t* text;
    } cases[] = {
        // Widths and precisions from slots; negative ones.
        {0, L"[%1!*.*s!]", L"[    wi]"},
        {0, L"[%8!*.*s!]", L"[wide  ]"},
        {0, L"[%1!*d!][%8!0*d!]", L"[     2][-1    ]"},
        // Sizes, signs and bases.
        {0, L"%6!x! %6!lx! %6!I32X! %6!hx!", L"90abcdef 90abcdef 90ABCDEF cdef"},
        {0, L"%6!llx! %6!I64X! %6!p!", L"1234567890abcdef 1234567890ABCDEF 1234567890ABCDEF"},
        {0, L"%7!I64d! %7!d! %8!hd! %8!I64u!", L"-9223372036854775808 0 -6 18446744073709551610"},
        {0, L"%1!+d!|% %1! d!|%1!#o!|%1!-4d!|%4!.0d!|%4!#x!", L"+6|  6|06|6   ||0"},
        {0, L"%1!08.3d!|%8!06d!|%1!#06x!|%1!p!", L"     006|-00006|0x0006|0000000000000006"},
        // Strings: null, narrow, not terminated within the precision, odd characters.
        {0, L"%4 %4!.3s! %4!8S!", L"(null) (nu   (null)"},
        {0, L"%5!hs!", L"é|€|\U0001F600|\xFFFD\xFFFD|\xFFFD\xFFFD\xFFFD|\xFFFD"},
        {0, L"[%5!-4.3S!][%11!.3s!][%3!05s!]", L"[é|€ ][abc][ wide]"},
        {0, L"[%4!c!][%4!3c!][%9!c!][%9!hc!]", L"[][   ][\xFFFD][\xFFFD]"},
        // The message's own breaks stay at width 0, those of an insert at any.
        {0, L"a\nb\rc%bd", L"a\nb\rc d"},
        {255, L"a\nb %12", L"a b one\ttwo  three\r\nfour"},
        // Wrapping within an insert, between blanks, before long words and at full lines.
        {9, L"see %12", L"see one\r\ntwo\r\nthree\r\nfour"},
        {6, L"a longestword", L"a\r\nlonge\r\nstwor\r\nd"},
        {6, L"abcde     f", L"abcde\r\nf"},
        {4, L"ab  c", L"ab\r\nc"},
        {4, L"   ab", L"   \r\nab"},
        {6, L"  ab  %n  cdef g", L"  ab \r\n  cde\r\nf g"},
        {6, L"abcde%nfghij", L"abcde\r\nfghij"},
        {1, L"ab", L"a\r\nb"},
    };
    for (const auto& [width, message, text] : cases) {
        expectText(format(width, 100, message, values.data()), text);
    }
}

TEST_F(MessageFormatSlots, Failures)
{
    const wchar_t* const tooLong[] = {L"%1!999999999d!",   L"%1!.99999999999999999999d!",
                                      L"%1!-2147483647u!", L"%3!99999999999s!",
                                      L"%3!-99999999s!",   L"%9!*d!%1!4294967297d!"};
    const wchar_t* const malformed[] = {L"%1!f!",   L"%1!d",    L"%1!",    L"%1!5!",
                                        L"%1!.!",   L"%1!du!",  L"%3!lls", L"%1!I16d!",
                                        L"%3!hhd!", L"%99!*d!", L"text %"};
    for (const unsigned width : {0u, 20u, 255u}) {
        for (const wchar_t* message : tooLong)
            expectFailure(format(width, 100, message, values.data()), 122);
        for (const wchar_t* message : malformed)
            expectFailure(format(width, 100, message, values.data()), 87);
    }
    expectFailure(format(0, 100, L"%1", nullptr), 87);
    expectText(format(0, 100, L"no inserts", nullptr), L"no inserts");
}

TEST_F(MessageFormatSlots, CapacityEdges)
{
    for (const auto& [width, message] :
         {std::pair{0u, L"plain"}, std::pair{0u, L"%3!6s!"}, std::pair{255u, L"a\nb%n"},
          std::pair{0u, L"%1!-9d!"}, std::pair{0u, L"%5!S!"}, std::pair{5u, L"aaa bbb"}}) {
        const Result whole = format(width, 100, message, values.data());
        const std::size_t exact = whole.text.size() + 1;
        expectText(format(width, exact, message, values.data()), whole.text);
        for (std::size_t capacity = 0; capacity < exact; ++capacity)
            expectFailure(format(width, capacity, message, values.data()), 122);
    }
}

TEST_F(MessageFormatSlots, BadCalls)
{
    wchar_t output[8] = L"before";
    for (const ulong32 flags : {0u, 0x400u, 0x2000u})
        EXPECT_EQ(Zarn::formatMessage(flags, L"text", output, 8, values.data()), 0u);
    EXPECT_EQ(Zarn::formatMessage(textWithSlots, nullptr, output, 8, values.data()), 0u);
    EXPECT_EQ(Zarn::formatMessage(textWithSlots, L"text", nullptr, 8, values.data()), 0u);
    EXPECT_EQ(GetLastError(), 87u);
    EXPECT_STREQ(output, L"before");
}

TEST_F(MessageFormatSlots, OnlyTheCallersBufferIsAllocated)
{
    const wchar_t message[] = L"%1!-20d! %3!9.2s! %5!S! and a text that wraps";
    wchar_t output[100];
    wchar_t* buffer = nullptr;
    auto* const address = reinterpret_cast<wchar_t*>(&buffer);
    constexpr ulong32 allocating = textWithSlots | 0x100;
    for (const ulong32 width : {0u, 20u, 255u}) {
        allocations = 0;
        EXPECT_NE(Zarn::formatMessage(textWithSlots | width, message, output, 100, values.data()),
                  0u);
        EXPECT_EQ(allocations, 0);
        EXPECT_NE(Zarn::formatMessage(allocating | width, message, address, 100, values.data()),
                  0u);
        EXPECT_EQ(allocations, countsAllocations ? 1 : 0);
        EXPECT_STREQ(buffer, output);
        std::free(buffer); // what LocalFree does
    }

    buffer = output;
    EXPECT_EQ(Zarn::formatMessage(allocating, message, address, 20, values.data()), 0u);
    EXPECT_EQ(GetLastError(), 122u);
    EXPECT_EQ(buffer, nullptr);
}

} // namespace
