// The event log reporter when memory runs out: each of its allocations fails once.
#include "Milestones.h"

#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

TEST(EventLogMemory, RunsOut)
{
    GTEST_SKIP() << "the sanitizer has allocations of its own";
}

#else

#include <cstdlib>
#include <new>

using namespace zmu_test;

namespace {

int allocationsLeft = -1; ///< Until one fails; below 0 none does.

} // namespace

// Not inline: else the compiler takes them for a mismatched pair.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    void* const memory = allocationsLeft == 0 ? nullptr : std::malloc(size);
    if (allocationsLeft >= 0)
        --allocationsLeft;
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace {

/// Runs `body` with the first allocation failing, then the second, until it succeeds; how many
/// failed. Each failure says that it was for memory.
template <class Body>
int failEachAllocation(Body body)
{
    for (int failed = 0;; ++failed) {
        allocationsLeft = failed;
        const bool isDone = body();
        const bool hasFailed = allocationsLeft < 0;
        allocationsLeft = -1;
        if (!hasFailed) {
            EXPECT_TRUE(isDone);
            return failed;
        }
        EXPECT_FALSE(isDone) << failed;
        EXPECT_EQ(GetLastError(), 8U) << failed;
    }
}

} // namespace

TEST_F(EventLog, ReporterSurvivesEachAllocationThatFails)
{
    const int inCreate = failEachAllocation(
        [] { return zgEL_Reporter::create(L"zmu test", nullptr, 0) != nullptr; });
    EXPECT_GT(inCreate, 0);

    monitor->recordSituationID(3315);
    u64* const fillers = monitor->getDescriptionFillers();
    for (int i = 0; i < 3; ++i)
        fillers[i] =
            reinterpret_cast<std::uintptr_t>(L"a text that is longer than a string's own room");
    const int inWrite = failEachAllocation([this] { return zgEL_Reporter::write(monitor.get()); });
    EXPECT_EQ(inWrite == 0, isWindows()); // where the texts go to the system as they are
    EXPECT_TRUE(zgEL_Reporter::getLoneInstance()->isStatusOK());
}

#endif
