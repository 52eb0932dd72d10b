// Numbers in real locales, which are compiled for the test: a machine need not have any.
#include "Locales.h"

#include <Support.h>

#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <QString>
#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

using Helpers = ZarnLocalizeHelpers;

namespace {

std::wstring widen(const std::string& text)
{
    return QString::fromLocal8Bit(text).toStdWString();
}

struct InLocale {
    std::string locale;
    std::vector<std::pair<i64, std::wstring>> numbers;
};

void PrintTo(const InLocale& row, std::ostream* out)
{
    *out << row.locale;
}

class NumbersIn : public testing::TestWithParam<InLocale> {};

TEST_P(NumbersIn, AreWrittenAndRead)
{
    const auto& [locale, numbers] = GetParam();
    zmu_test::Locales locales;
    if (const std::string obstacle = locales.enter(locale); !obstacle.empty())
        GTEST_SKIP() << obstacle;
    for (const auto& [value, text] : numbers) {
        const std::string expected = zmu_test::toNarrow(text);
        char narrow[64];
        std::memset(narrow, '#', sizeof narrow);
        EXPECT_EQ(Helpers::convertIntToPunctuatedStrA(value, narrow, 64), expected.size());
        EXPECT_EQ(narrow, expected);
        EXPECT_EQ(narrow[63], '\0');
        const std::string entered = std::setlocale(LC_ALL, nullptr);
        EXPECT_EQ(entered, std::setlocale(LC_ALL, ""));
        wchar_t wide[64];
        EXPECT_EQ(Helpers::convertIntToPunctuatedStrW(value, wide, 64), text.size());
        EXPECT_EQ(wide, text);

        i64 back = 1;
        const bool isLong = text.size() > 1;
        EXPECT_TRUE(Helpers::convertPunctuatedStrToIntA(narrow, 64, back));
        EXPECT_EQ(back, value);
        EXPECT_EQ(Helpers::convertPunctuatedStrToIntW(wide, 2, back), isLong);
        EXPECT_EQ(back, value);
    }
}

const std::wstring numberSpace = zmu_test::isWindows() ? L"\u00A0" : L"\u202F";

const InLocale locales[] = {
    {"en_US.UTF-8",
     {{0, L"0"},
      {999, L"999"},
      {-1234, L"-1,234"},
      {1234567, L"1,234,567"},
      {LLONG_MAX, L"9,223,372,036,854,775,807"},
      {LLONG_MIN, L"-9,223,372,036,854,775,808"}}},
    {"de_DE.UTF-8", {{1234567, L"1.234.567"}, {-123456, L"-123.456"}}},
    {"en_IN.UTF-8", {{123456789, L"12,34,56,789"}, {LLONG_MIN, L"-92,23,37,20,36,85,47,75,808"}}},
    {"fr_FR.UTF-8",
     {{-1234567, L"-1" + numberSpace + L"234" + numberSpace + L"567"},
      {1234, L"1" + numberSpace + L"234"}}},
    // One byte there, two in UTF-8.
    {"nn_NO.ISO-8859-1", {{-1234, L"-1\u00A0234"}}},
    // Groups, and nothing between them.
    {"bg_BG.UTF-8", {{1234567, L"1234567"}}},
    {"C", {{1234567, L"1234567"}}},
};

INSTANTIATE_TEST_SUITE_P(Numbers, NumbersIn, testing::ValuesIn(locales), [](const auto& info) {
    return info.param.locale.substr(0, info.param.locale.find('.'));
});

TEST(Numbers, AreReadUpToWhatIsNone)
{
    zmu_test::Locales locales;
    if (const std::string obstacle = locales.enter("en_US.UTF-8"); !obstacle.empty())
        GTEST_SKIP() << obstacle;
    const struct {
        std::string text;
        u64 length;
        bool isNumber;
        i64 value;
    } cases[] = {
        {"  1,234xyz", 64, true, 1234},
        {"\t-,1,,2,", 64, true, -12},
        {"12345", 3, true, 123},
        {"007", ULLONG_MAX, true, 7},
        {"1.5", 64, true, 1},
        {"-", 64, false, 0},
        {"- 1", 64, false, 0},
        {"--1", 64, false, 0},
        {"    ", 64, false, 0},
        {"  7", 2, false, 0},
        {"12", 1, false, 0},
        {"x1", 64, false, 0},
        {"9223372036854775808", 64, false, 0},
        {"-9223372036854775809", 64, false, 0},
        {"-9223372036854775808", 64, true, LLONG_MIN},
        {"18446744073709551620", 64, true, 4}, // wraps around
    };
    for (auto [text, length, isNumber, value] : cases) {
        i64 result = 1;
        EXPECT_EQ(Helpers::convertPunctuatedStrToIntA(text.data(), length, result), isNumber)
            << text;
        EXPECT_EQ(result, value) << text;
    }
    const struct {
        std::wstring text;
        bool isNumber;
    } wideCases[] = {{L"1", false},
                     {L"", false},
                     {std::wstring(61, L' ') + L"12", true},
                     {std::wstring(62, L' ') + L"12", false},
                     {std::wstring(1, L'-') + std::wstring(1, wchar_t(0x2028)), false},
                     {L"12€", true}};
    for (auto [text, isNumber] : wideCases) {
        i64 result = 1;
        EXPECT_EQ(Helpers::convertPunctuatedStrToIntW(text.data(), 2, result), isNumber);
        EXPECT_EQ(result, isNumber ? 12 : 0);
    }
    i64 result = 1;
    EXPECT_FALSE(Helpers::convertPunctuatedStrToIntA(nullptr, 2, result));
    EXPECT_FALSE(Helpers::convertPunctuatedStrToIntW(nullptr, 2, result));
    EXPECT_EQ(result, 0);
}

TEST(Numbers, SeparatorThatTheLimitCutsIsNone)
{
    zmu_test::Locales locales;
    if (const std::string obstacle = locales.enter("fr_FR.UTF-8"); !obstacle.empty())
        GTEST_SKIP() << obstacle;
    std::string text = zmu_test::toNarrow(L"1" + numberSpace + L"2");
    for (u64 length = 2; length <= text.size(); ++length) {
        i64 result = 0;
        EXPECT_TRUE(Helpers::convertPunctuatedStrToIntA(text.data(), length, result));
        EXPECT_EQ(result, length < text.size() ? 1 : 12) << length;
    }
}

TEST(Numbers, WhatDoesNotFitLeavesAnEmptyText)
{
    const struct {
        const char* locale;
        i64 value;
        u64 capacity;
        const char* text;
    } cases[] = {
        {"C", 10, 2, ""},  {"C", 10, 3, "10"}, {"C", 7, 2, "7"},
        {"C", -1, 16, ""}, // the locale has no negative sign
        {"C", 7, 1, "##"}, {"C", 7, 0, "##"},  {"no_SUCH", 7, 16, ""},
    };
    for (const auto& [locale, value, capacity, text] : cases) {
        qputenv("LC_ALL", locale);
        const bool isUnknown = !std::setlocale(LC_ALL, "");
        if (isUnknown != (locale[0] == 'n'))
            continue; // a system that takes any name
        if (value < 0 && *std::localeconv()->negative_sign)
            continue; // one whose locale is not to be chosen here
        char narrow[17] = "##";
        wchar_t wide[17] = L"##";
        const u64 length = *text == '#' ? 0 : std::strlen(text);
        EXPECT_EQ(Helpers::convertIntToPunctuatedStrA(value, narrow, capacity), length);
        EXPECT_EQ(Helpers::convertIntToPunctuatedStrW(value, wide, capacity), length);
        EXPECT_STREQ(narrow, text) << value << ' ' << capacity;
        EXPECT_EQ(wide, widen(text)) << value << ' ' << capacity;
    }
    EXPECT_EQ(Helpers::convertIntToPunctuatedStrA(7, nullptr, 16), 0U);
    EXPECT_EQ(Helpers::convertIntToPunctuatedStrW(7, nullptr, 16), 0U);
}

TEST(Numbers, ThreadsShareTheLocale)
{
    qputenv("LC_ALL", "C");
    zmu_test::inThreads(4, 300, [](int thread, int round) {
        const i64 value = i64{10 + round} * (thread + 1);
        wchar_t text[32];
        i64 back = 0;
        ASSERT_NE(Helpers::convertIntToPunctuatedStrW(value, text, 32), 0U);
        ASSERT_TRUE(Helpers::convertPunctuatedStrToIntW(text, 32, back));
        ASSERT_EQ(back, value);
    });
}

} // namespace
