// Calendars, environment references, and the library's own strings.
#include <Support.h>

#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

using Helpers = ZarnLocalizeHelpers;

namespace {

// ---- Time ----

FILETIME fileTime(u64 ticks)
{
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

u64 ticks(const FILETIME& time)
{
    return u64(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

/// A broken-down time full of something else.
std::tm garbage()
{
    std::tm time;
    std::memset(&time, 0x55, sizeof time);
    return time;
}

std::tm clock(int second, int minute, int hour, int day, int month, int year)
{
    std::tm time{};
    time.tm_sec = second;
    time.tm_min = minute;
    time.tm_hour = hour;
    time.tm_mday = day;
    time.tm_mon = month;
    time.tm_year = year;
    return time;
}

std::string textOf(const std::tm& time)
{
    char text[64];
    std::snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d day %d dst %d", time.tm_year, time.tm_mon,
                  time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec, time.tm_wday,
                  time.tm_isdst);
    return text;
}

TEST(TimeMaps, FromTheSystemsCalendar)
{
    const std::string none = "0-0-0 0:0:0 day 0 dst 0";
    const struct {
        u64 ticks;
        std::string text;
    } cases[] = {{0, "-299-0-1 0:0:0 day 1 dst 1"},
                 {116444736000000000, "70-0-1 0:0:0 day 4 dst 1"},
                 {125963423999999999, "100-1-29 23:59:59 day 2 dst 1"},
                 {125963424000000000, "100-2-1 0:0:0 day 3 dst 1"},
                 {0x7FFFFFFFFFFFFFFF, "28928-8-14 2:48:5 day 4 dst 1"},
                 {0x8000000000000000, none}};
    for (const auto& [ticks, text] : cases) {
        std::tm result = garbage();
        EXPECT_EQ(textOf(Helpers::mapFILETIME_to_tm(fileTime(ticks), result, 1)), text) << ticks;
    }
    std::tm result = garbage();
    Helpers::mapSYSTEMTIME_to_tm({2026, 3, 4, 5, 7, 9, 2, 999}, result, -1);
    EXPECT_EQ(textOf(result), "126-2-5 7:9:2 day 4 dst -1");
    EXPECT_EQ(result.tm_yday, 0);

    zmu_test::enterTimeZone("EST5");
    result = garbage();
    EXPECT_EQ(textOf(Helpers::mapSMTIME_to_tm(1772694542, result, 7)), "126-2-5 2:9:2 day 0 dst 7");
}

TEST(TimeMaps, ToTheSystemsCalendarTheMonthStaysAsItIs)
{
    const std::pair<int, unsigned> years[] = {{124, 2024}, {100, 2000},  {99, 2099},
                                              {0, 2000},   {1899, 3799}, {2024, 2024}};
    for (const auto& [year, expected] : years) {
        const std::tm time = clock(0, 0, 0, 1, 11, year);
        SYSTEMTIME calendar;
        std::memset(&calendar, 0x55, sizeof calendar);
        EXPECT_EQ(Helpers::map_tm_to_SYSTEMTIME(time, calendar).wYear, expected);
        EXPECT_EQ(calendar.wMonth, 11);
        EXPECT_EQ(calendar.wMilliseconds, 0);
    }
    const struct {
        std::tm time;
        u64 ticks;
    } cases[] = {
        {clock(2, 9, 7, 5, 2, 124), 133515905420000000}, // 5 February 2024
        {clock(2, 9, 7, 29, 2, 124), 133536641420000000},
        {clock(59, 59, 23, 31, 12, 124), 133801631990000000},
        {clock(2, 9, 7, 31, 0, 124), 0},
        {clock(2, 9, 7, 1, 13, 124), 0},
        {clock(2, 9, 7, 0, 1, 124), 0},
        {clock(2, 9, 7, 257, 1, 124), 0},
        {clock(2, 9, 7, 1, 257, 124), 0},
        {clock(60, 9, 7, 1, 1, 124), 0},
        {clock(2, 60, 7, 1, 1, 124), 0},
        {clock(2, 9, 24, 1, 1, 124), 0},
        {clock(2, 9, 7, 1, 1, -1), 0}, // year 65535
    };
    for (const auto& [time, expected] : cases) {
        FILETIME result = fileTime(~u64(0));
        EXPECT_EQ(ticks(Helpers::map_tm_to_FILETIME(time, result)), expected) << textOf(time);
    }
}

TEST(TimeMaps, LeapDayOfACommonYear)
{
    FILETIME result = fileTime(~u64(0));
    Helpers::map_tm_to_FILETIME(clock(2, 9, 7, 29, 2, 123), result);
    if (ticks(result) != 0 && zmu_test::runsUnderWine())
        GTEST_SKIP() << "Wine's calendar has a 29 February in each year";
    EXPECT_EQ(ticks(result), 0U);
}

// ---- Environment ----

struct Expansion {
    bool isDone;
    std::wstring text;
    bool operator==(const Expansion&) const = default;
};

enum Place { Elsewhere, Destination, Scratch };

Expansion expand(std::wstring source, ulong32 limit, Place place)
{
    std::wstring destination(limit, L'#');
    std::wstring scratch(limit, L'#');
    source.resize(std::max<std::size_t>(source.size() + 1, limit));
    u64 length = 77;
    wchar_t* const from = place == Destination ? destination.data()
                          : place == Scratch   ? scratch.data()
                                               : source.data();
    if (place != Elsewhere)
        source.copy(from, limit);
    const wchar_t* const result =
        Helpers::expandEnvironmentVarStrsW(from, destination.data(), scratch.data(), length, limit);
    EXPECT_TRUE(!result || result == destination.data());
    EXPECT_EQ(length, result ? std::wcslen(result) : 0);
    return {result != nullptr, result ? result : L""};
}

TEST(EnvironmentVars, AreExpandedUntilNothingChanges)
{
    qputenv("ZMU_END", "wert");
    qputenv("ZMU_MID", "<%ZMU_END%>");
    qputenv("ZMU_UML", zmu_test::toNarrow(L"größe").c_str());
    qputenv("ZMU_SELF", "%ZMU_SELF%");
    qputenv("ZMU_GROW", "%ZMU_GROW%%ZMU_GROW%");
    qputenv("ZMU_PING", "%ZMU_PONGS%");
    qputenv("ZMU_PONGS", "%ZMU_PING%");
    const struct {
        const wchar_t* source;
        ulong32 limit;
        Expansion expected;
    } cases[] = {
        {L"a %ZMU_MID% b", 64, {true, L"a <wert> b"}},
        {L"%ZMU_UML%", 64, {true, L"größe"}},
        {L"%ZMU_NONE% 5%", 64, {true, L"%ZMU_NONE% 5%"}},
        {L"%ZMU_SELF%", 64, {true, L"%ZMU_SELF%"}},
        {L"", 2, {true, L""}},
        {L"a", 2, {true, L"a"}},
        {L"%ZMU_END%", 10, {true, L"wert"}},
        {L"%ZMU_MID%", 12, {true, L"<wert>"}},
        {L"%ZMU_MID%", 11, {false, L""}}, // the first pass has no room
        {L"ab", 2, {false, L""}},
        {L"%ZMU_GROW%", 64, {false, L""}},
        {L"%ZMU_PING%", 64, {false, L""}},
    };
    for (const auto& [source, limit, expected] : cases) {
        for (const Place place : {Elsewhere, Destination, Scratch})
            EXPECT_EQ(expand(source, limit, place), expected)
                << QString::fromWCharArray(source).toStdString() << place;
    }
    char source[] = "%ZMU_UML%";
    char destination[32];
    char scratch[32];
    u64 length = 0;
    const std::string expanded = zmu_test::toNarrow(L"größe");
    EXPECT_EQ(Helpers::expandEnvironmentVarStrsA(source, destination, scratch, length, 32),
              expanded);
    EXPECT_EQ(length, expanded.size());
    EXPECT_EQ(Helpers::expandEnvironmentVarStrsA(source, nullptr, scratch, length, 32), nullptr);
    EXPECT_EQ(Helpers::expandEnvironmentVarStrsA(source, scratch, scratch, length, 32), nullptr);
    EXPECT_EQ(Helpers::expandEnvironmentVarStrsA(source, destination, scratch, length, 1), nullptr);
    EXPECT_EQ(length, 0U);
}

// ---- The library's own strings ----

TEST(SelfModule, ServesIntrinsicStrings)
{
    zmu_test::strings() = {{13003, L"the program's"}};
    const HMODULE program = GetModuleHandleW(nullptr);
    const HMODULE library = GetModuleHandleW(L"zmu.dll");
    EXPECT_EQ(Helpers::getSelfResourceModuleSafe(program), program);
    EXPECT_EQ(Helpers::getSelfResourceModuleSafe(nullptr), library);

    wchar_t text[16] = L"";
    EXPECT_TRUE(Helpers::loadIntrinsicString(13003, text, 16));
    EXPECT_STREQ(text, L"CompanyName");
    EXPECT_EQ(Helpers::setSelfResourceModule(program), library);
    EXPECT_TRUE(Helpers::learnSelfResourceModule());
    EXPECT_TRUE(Helpers::loadIntrinsicString(13003, text, 4));
    EXPECT_STREQ(text, L"the");
    EXPECT_FALSE(Helpers::loadIntrinsicString(13004, text, 16));
    EXPECT_EQ(std::wstring(text, 16), std::wstring(16, L'\0'));

    EXPECT_EQ(Helpers::setSelfResourceModule(nullptr), program);
    EXPECT_EQ(Helpers::getSelfResourceModule(), nullptr);
    EXPECT_TRUE(Helpers::loadIntrinsicString(14015, text, 16)); // empty
    EXPECT_EQ(Helpers::getSelfResourceModule(), library);
    text[0] = text[1] = L'#';
    EXPECT_FALSE(Helpers::loadIntrinsicString(13003, text, 0));
    EXPECT_EQ(text[0], L'\0');
    EXPECT_EQ(text[1], L'#');
    EXPECT_FALSE(Helpers::loadIntrinsicString(13003, nullptr, 16));
}

} // namespace
