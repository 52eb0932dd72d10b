// What a trace line says.
#include "Support.h"

#include <zmu/monitor/Trace.h>

#include <gtest/gtest.h>

#include <climits>

using namespace zmu_test;

namespace {

template <class... Arguments>
QString traced(const wchar_t* format, Arguments... arguments)
{
    Traces traces;
    Zarn_TRACE(format, arguments...);
    return traces.take();
}

} // namespace

TEST(Trace, TextsMeanTheSameEverywhere)
{
    // The process has the locale "C", which knows no letter of these.
    const std::string narrow = toNarrow(L"Grö\u00dfe");
    EXPECT_EQ(traced(L"<%s|%ls|%ws>", L"wide", L"Grö\u00dfe", L"w"), "<wide|Größe|w>");
    EXPECT_EQ(traced(L"<%S|%hs|%hS>", narrow.c_str(), narrow.c_str(), "n"), "<Größe|Größe|n>");
    EXPECT_EQ(traced(L"<%lS>", L"wide"), "<wide>");
    EXPECT_EQ(traced(L"<%6hs|%-6s|%.3hs|%.*s>", narrow.c_str(), L"ab", narrow.c_str(), 1, L"xyz"),
              "< Größe|ab    |Grö|x>");
    EXPECT_EQ(traced(L"<%s|%hs|%c|%%|%>", static_cast<wchar_t*>(nullptr),
                     static_cast<char*>(nullptr), L'\u00df'),
              "<(null)|(null)|ß|%|>");
    EXPECT_EQ(traced(L"%hs", std::string(3000, 'x').c_str()).size(), 1023);
    EXPECT_EQ(traced(L"%1000000s%-99999999d|", L"x", 1).size(), 1023);
    const std::wstring longest(1023, L'\u20ac');
    EXPECT_EQ(traced(L"%ls", longest.c_str()), QString::fromStdWString(longest));
    EXPECT_EQ(traced(nullptr), "");
}

TEST(Trace, Numbers)
{
    EXPECT_EQ(traced(L"%d %i %+d % d %u", -5, INT_MIN, 7, 7, UINT_MAX),
              "-5 -2147483648 +7  7 4294967295");
    EXPECT_EQ(traced(L"%lld %llu %I64d", LLONG_MIN, ULLONG_MAX, -1LL),
              "-9223372036854775808 18446744073709551615 -1");
    EXPECT_EQ(traced(L"%lu %ld %zu %hd %hhu", 5UL, -5L, std::size_t(6), 65535, 257), "5 -5 6 -1 1");
    EXPECT_EQ(traced(L"0x%08x %#x %X %o %#o %#x", 0xabcU, 255U, 0xabcU, 8U, 8U, 0U),
              "0x00000abc 0xff ABC 10 010 0");
    EXPECT_EQ(traced(L"<%5d|%-5d|%05d|%+.3d|%.0d|%*d>", 42, 42, -42, 42, 0, -4, 7),
              "<   42|42   |-0042|+042||7   >");
    EXPECT_EQ(traced(L"%.2f|%8.3e|%g|%-6.1f|", 2.5, 12345.678, 0.5, 1.25),
              "2.50|1.235e+04|0.5|1.2   |");
}
