// Time stamps in the zones of the world.
#include <System.h>

#include <zmu/foundation/SystemTime.h>

#include <gtest/gtest.h>

#include <climits>

using namespace zmu_test;
using zr::SystemTime;

namespace {

TEST(SystemTime, IsTheLocalTimeOfItsMoment)
{
    const struct {
        const char* zone;
        i64 moment;
        const wchar_t* text;
    } cases[] = {
        {"UTC0", 1772694542, L"2026-03-05_07-09-02"},
        {"UTC0", 0, L"1970-01-01_00-00-00"},
        {"EST5", 18000, L"1970-01-01_00-00-00"},
        {"JST-9", 951868800 - 1, L"2000-03-01_08-59-59"},
        {"JST-9", 951868800 - 32401, L"2000-02-29_23-59-59"},
        {"UTC0", 4294967296, L"2106-02-07_06-28-16"},
        // What its C library does not know comes last.
        {"EST5", 0, L"1969-12-31_19-00-00"},
        {"UTC0", -1, L"1969-12-31_23-59-59"},
        {"EST5EDT,M3.2.0,M11.1.0", 1772953200 - 1, L"2026-03-08_01-59-59"},
        {"EST5EDT,M3.2.0,M11.1.0", 1772953200, L"2026-03-08_03-00-00"},
    };
    constexpr int knownByWindows = 6;
    for (const auto& test : cases) {
        if (isWindows() && &test - cases >= knownByWindows)
            break;
        const auto& [zone, moment, text] = test;
        enterTimeZone(zone);
        const SystemTime stamp(moment);
        const UTL_String stampText = stamp;
        EXPECT_STREQ(stampText.wideText(), text) << zone << ' ' << moment;
        EXPECT_EQ(static_cast<long long>(stamp), moment);
    }

    enterTimeZone("UTC0");
    const SystemTime fixed(951868799);
    enterTimeZone("JST-9");
    EXPECT_EQ(fixed.Hour(), 23);
    EXPECT_EQ(fixed.Day(), 29);
}

TEST(SystemTime, MomentsBeyondTheCalendarAreTold)
{
    enterTimeZone("UTC0");
    // The last one whose year an int holds after the C library's 1900, and neighbours.
    for (const i64 moment : {LLONG_MAX, LLONG_MIN, 67768036191676800LL, 67767976233532800LL}) {
        const SystemTime stamp(moment);
        EXPECT_EQ(stamp.Year(), 1899) << moment;
        EXPECT_EQ(stamp.Month(), 0) << moment;
        EXPECT_EQ(stamp.Sec(), -1) << moment;
        EXPECT_EQ(static_cast<long long>(stamp), moment);
        const UTL_String text = stamp;
        EXPECT_STREQ(text.wideText(), L"1899-00--01_-01--01--01");
    }
    EXPECT_TRUE(isWindows() || SystemTime(67767976233532799LL).Year() == INT_MAX);
}

} // namespace
