// The event log reporter: what it refuses, on every system, and memory that runs out.
#include "Allocations.h"
#include "Milestones.h"

#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

using namespace zmu_test;

TEST_F(EventLog, HasOneReporterWhichALaterCreateLeavesAlone)
{
    const auto last = [] { return static_cast<unsigned>(GetLastError()); };
    EXPECT_EQ(zgEL_Reporter::getLoneInstance(), nullptr);
    EXPECT_FALSE(zgEL_Reporter::write(monitor.get()));
    EXPECT_EQ(zgEL_Reporter::create("", nullptr, 0), nullptr);
    EXPECT_EQ(last(), 87U);
    EXPECT_EQ(zgEL_Reporter::create(static_cast<const wchar_t*>(nullptr), nullptr, 0), nullptr);

    zgEL_Reporter* const reporter = zgEL_Reporter::getLoneInstance(L"zmu test", nullptr, 0);
    ASSERT_NE(reporter, nullptr) << last();
    EXPECT_TRUE(reporter->isStatusOK());
    EXPECT_EQ(zgEL_Reporter::create("another", nullptr, 1), nullptr);
    EXPECT_EQ(last(), 5010U);
    EXPECT_EQ(zgEL_Reporter::getLoneInstance("another", "nowhere", 5), reporter);
    EXPECT_FALSE(reporter->setMemberVarsToDefaults(0));

    zgEL_Reporter::destroy();
    zgEL_Reporter::destroy();
    EXPECT_EQ(zgEL_Reporter::getLoneInstance(), nullptr);
    EXPECT_NE(zgEL_Reporter::create("zmu test", nullptr, 0), nullptr) << last();
}

TEST_F(EventLog, RefusesWhatIsNoMilestone)
{
    zgEL_Reporter* const reporter = zgEL_Reporter::create(L"zmu test", nullptr, 0);
    ASSERT_NE(reporter, nullptr) << GetLastError();
    for (const int situation : {0, 1, 3312, 3314, 3316, 3318, 3320, 3321, 3324, 3326}) {
        reporter->setError(0);
        EXPECT_FALSE(tell(situation, {L"one", L"two", L"three"})) << situation;
        EXPECT_EQ(reporter->getError(), 87U) << situation;
        EXPECT_EQ(GetLastError(), 87U) << situation;
    }
    EXPECT_FALSE(zgEL_Reporter::write(nullptr));
    EXPECT_EQ(reporter->setError(5), 87U);
    EXPECT_FALSE(reporter->isStatusOK());

    EXPECT_TRUE(reporter->setMemberVarsToDefaults(1)); // which gives up the source
    EXPECT_TRUE(reporter->isStatusOK());
    EXPECT_FALSE(tell(3313, {L"one"}));
    EXPECT_EQ(reporter->getError(), 87U);

    for (const ulong32 first : {9U, 10U, 0xFFFFFFFFU}) { // of ten fillers
        zgEL_Reporter::destroy();
        ASSERT_NE(zgEL_Reporter::create(L"zmu test", nullptr, first), nullptr);
        EXPECT_EQ(tell(3315, {L"one"}), first == 9) << first;
    }
}

TEST_F(EventLog, ReporterSurvivesEachAllocationThatFails)
{
    if (!canFailAllocations)
        GTEST_SKIP() << cannotFail;
    const auto failEach = [](const auto& operation) {
        return failEachAllocation(false, [&](const auto& failingIn) {
            bool isDone = false;
            const bool hasFailed = failingIn([&] { isDone = operation(); });
            EXPECT_NE(isDone, hasFailed);
            EXPECT_TRUE(isDone || GetLastError() == 8U);
            return hasFailed;
        });
    };
    EXPECT_GT(failEach([] { return zgEL_Reporter::create(L"zmu test", nullptr, 0) != nullptr; }),
              0);

    monitor->recordSituationID(3315);
    u64* const fillers = monitor->getDescriptionFillers();
    for (int i = 0; i < 3; ++i)
        fillers[i] =
            reinterpret_cast<std::uintptr_t>(L"a text that is longer than a string's own room");
    EXPECT_GT(failEach([this] { return zgEL_Reporter::write(monitor.get()); }), 0);
    EXPECT_TRUE(zgEL_Reporter::getLoneInstance()->isStatusOK());
}
