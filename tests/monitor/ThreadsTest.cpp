// Many threads that fail, bring modules and wait, on one monitor and on two. Worth running under a
// thread sanitizer.
#include "Reporter.h"

#include <atomic>
#include <thread>

using namespace zmu_test;

namespace {

constexpr int threadsQty = 8;
constexpr int rounds = 100;

/// Expects "thread round" of all threads and rounds, in any order.
void expectAllEntries(const Reporter& reporter)
{
    QStringList expected;
    for (int thread = 0; thread < threadsQty; ++thread) {
        for (int round = 0; round < rounds; ++round)
            expected += QString::asprintf("%d %d", thread, round);
    }
    QStringList entries = reporter.entries();
    entries.sort();
    expected.sort();
    EXPECT_EQ(entries, expected);
}

} // namespace

TEST(Threads, ReportToTwoMonitors)
{
    strings()[100] = L"2~0~1~d0`d1~||``%1!d! %2!d!`";
    const Reporter first;
    const Reporter second;
    inThreads(threadsQty, rounds, [&](int thread, int round) {
        const Reporter* order[] = {&first, &second};
        if (thread % 2)
            std::swap(order[0], order[1]);
        for (const Reporter* reporter : order) {
            (*reporter)->recordSituationID(100);
            (*reporter)->recordArgument(thread, ZARN_ARG_NEXT);
            (*reporter)->recordArgument(round, ZARN_ARG_NEXT);
        }
        for (const Reporter* reporter : order) {
            EXPECT_TRUE((*reporter)->respondToSituation());
            EXPECT_TRUE(round % 10 || (*reporter)->removeThread());
        }
    });
    expectAllEntries(first);
    expectAllEntries(second);
}

TEST(Threads, FailAloneAndRecoverAlone)
{
    strings()[100] = L"2~0~2~d`d~||``%1!d! %2!d!`";
    strings()[200] = L"3~0~2~d`d~||``%1!d! %2!d!`";
    for (const bool isForgiving : {false, true}) {
        const Reporter reporter([&](OpenData& data) {
            if (isForgiving)
                data.setSelfDX_FaultTolerance(Zarn_TOLERANCE_FORGIVING);
        });
        inThreads(threadsQty, rounds, [&](int thread, int round) {
            if (thread % 2) {
                reporter->respondToSituation(200, nullptr, thread, round);
                EXPECT_EQ(reporter->getSelfDX_Code(), dx::KindOutOfRange);
                if (!isForgiving)
                    reporter->forgetSelfDX_Code();
            }
            reporter->respondToSituation(100, nullptr, thread, round);
            EXPECT_EQ(reporter->getSelfDX_Code(), 0);
        });
        expectAllEntries(reporter);
    }
}

TEST(Threads, ForgiveNoFailureThatIsStillGoingOn)
{
    const Reporter reporter(
        [](OpenData& data) { data.setSelfDX_FaultTolerance(Zarn_TOLERANCE_FORGIVING); });
    std::atomic<bool> isDone = false;
    std::thread other([&] {
        while (!isDone) {
            reporter->recordSituationID(100);
            reporter->removeThread();
        }
    });
    for (int round = 0; round < 100 * rounds; ++round) {
        u64 previous = 0;
        EXPECT_FALSE(reporter->setLogFileByteCountLimit(1, previous)) << round;
    }
    isDone = true;
    other.join();
}

TEST(Threads, BringModulesOfTheirOwn)
{
    strings()[100] = L"2~0~2~u`s||``Program %1!u!`";
    void* const modules[] = {GetModuleHandleW(nullptr), GetModuleHandleW(L"zmu.dll")};
    const Reporter reporter;
    inThreads(threadsQty, 10 * rounds, [&](int thread, int) {
        const int side = thread % 2;
        reporter->respondToSituation(side ? 10006 : 100, modules[side], 1U, L"x");
        // No thread is answered out of another's module.
        EXPECT_EQ(reporter->getSelfDX_Code(), 0);
        reporter->forgetSelfDX_Code();
    });
    reporter->respondToSituation(100, nullptr, 2U, L"x");
    EXPECT_EQ(reporter->getSelfDX_Code(), 0); // and the first module is back
}

TEST(Threads, WaitForADialog)
{
    strings()[100] = L"2~0~2~s|&|``%1`";
    strings()[101] = L"2~0~2~s||``%1`";
    static std::atomic<bool> isAsked;
    static std::atomic<bool> isAnswered;
    const Reporter reporter;
    reporter->setDisplayDlgBoxFunction([](HWND, const wchar_t*, const wchar_t*, unsigned int) {
        isAsked = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        isAnswered = true;
        return 1;
    });
    std::thread asking([&] { reporter->respondToSituation(100, nullptr, L"asks"); });
    while (!isAsked)
        std::this_thread::yield();
    reporter->respondToSituation(101, nullptr, L"waits");
    EXPECT_TRUE(isAnswered);
    asking.join();
    EXPECT_EQ(reporter.entries(), (QStringList{"asks", "waits"}));
}
