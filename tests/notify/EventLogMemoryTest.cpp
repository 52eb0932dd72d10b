// The event log reporter when memory runs out: each of its allocations fails once.
#include "Allocations.h"
#include "Milestones.h"

#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

using namespace zmu_test;

namespace {

/// Runs `body` with the first allocation failing, then the second, until it succeeds; how many
/// failed. Each failure says that it was for memory.
template <class Body>
int failEachAllocation(Body body)
{
    for (int failed = 0;; ++failed) {
        failAllocation(failed);
        const bool isDone = body();
        const DWORD error = GetLastError();
        if (!endFailing()) {
            EXPECT_TRUE(isDone);
            return failed;
        }
        EXPECT_FALSE(isDone) << failed;
        EXPECT_EQ(error, 8U) << failed;
    }
}

} // namespace

TEST_F(EventLog, ReporterSurvivesEachAllocationThatFails)
{
    if (!canFailAllocations)
        GTEST_SKIP() << cannotFail;
    const int inCreate = failEachAllocation(
        [] { return zgEL_Reporter::create(L"zmu test", nullptr, 0) != nullptr; });
    EXPECT_GT(inCreate, 0);

    monitor->recordSituationID(3315);
    u64* const fillers = monitor->getDescriptionFillers();
    for (int i = 0; i < 3; ++i)
        fillers[i] =
            reinterpret_cast<std::uintptr_t>(L"a text that is longer than a string's own room");
    const int inWrite = failEachAllocation([this] { return zgEL_Reporter::write(monitor.get()); });
    EXPECT_GT(inWrite, 0);
    EXPECT_TRUE(zgEL_Reporter::getLoneInstance()->isStatusOK());
}
