// Signals, locks with a limit and work that is done once.
#include <Processes.h>

#include <zmu/foundation/OneTimeMethod.h>
#include <zmu/foundation/Signal.h>
#include <zmu/foundation/TimedMutex.h>
#include <zmu/platform/Host.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>

using zmu_test::inThreads;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int threadsQty = 8;
constexpr unsigned noLimit = 0xFFFFFFFF;
constexpr ulong32 isSet = 0;
constexpr ulong32 timedOut = 258;

/// A name that no other process has, where names reach beyond the process.
std::string ownName()
{
    return "zmu-test-" + std::to_string(Clock::now().time_since_epoch().count());
}

struct Work : OneTimeMethod {
    explicit Work(std::function<void(Work&, int)> whatToDo) : doIt(std::move(whatToDo)) {}
    int work(int argument) override
    {
        doIt(*this, argument);
        return 99; // which nobody sees
    }
    std::function<void(Work&, int)> doIt;
};

} // namespace

TEST(Signal, StaysSetUntilItIsResetAndIsSharedByItsName)
{
    const std::string name = ownName();
    {
        Signal first(name.c_str(), true);
        Signal second(name.c_str(), false); // is what the first one is
        EXPECT_EQ(second.wait(), isSet);
        EXPECT_EQ(second.wait(0, 0), isSet);
        EXPECT_TRUE(second.reset());
        EXPECT_EQ(first.wait(0, 0), timedOut);
        EXPECT_EQ(Signal((name + "Z").c_str(), true).wait(0, 0), isSet);
        const auto start = Clock::now();
        EXPECT_EQ(first.wait(30, -1), timedOut);
        EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
    }
    EXPECT_EQ(Signal(name.c_str(), true).wait(0, 0), isSet); // the old one is gone
    EXPECT_EQ(Signal(nullptr, true).wait(0, 0), isSet);
    EXPECT_EQ(Signal().wait(0, 0), timedOut);
}

TEST(Signal, ThatCouldNotBeMadeShowsInTheResults)
{
    Signal signal(std::string(300, 'n').c_str(), true);
    EXPECT_FALSE(signal.set() || signal.reset());
    SetLastError(0);
    EXPECT_EQ(signal.wait(1000, 0), 0xFFFFFFFF);
    EXPECT_EQ(GetLastError(), 6U);
    EXPECT_EQ(signal.wait(), 0xFFFFFFFF);
}

TEST(SignalThreads, OneSetLetsEverybodyGoAndTheLastToWaitMayDestroyIt)
{
    const std::string name = ownName();
    for (int round = 0; round < 200; ++round) {
        auto* const signal = new Signal(name.c_str(), false);
        std::atomic<int> waiting = threadsQty - 1;
        SCOPED_TRACE(round);
        inThreads(threadsQty, [&](int thread) {
            if (thread == 0) {
                EXPECT_TRUE(signal->set());
                return;
            }
            const Signal own((name + std::to_string(thread)).c_str(), false); // names come and go
            EXPECT_EQ(signal->wait(noLimit, 0), isSet);
            if (--waiting == 0)
                delete signal;
        });
    }
}

TEST(TimedMutexThreads, ExcludeEachOtherThroughReentry)
{
    constexpr int rounds = 2000;
    TimedMutex mutex;
    int counter = 0; // guarded by nothing but the lock
    inThreads(threadsQty, rounds, [&](int thread, int) {
        ASSERT_EQ(thread % 2 ? mutex.lock() : mutex.lock(60000), 0U);
        const int seen = counter;
        ASSERT_EQ(mutex.lock(0), 0U);
        counter = seen + 1;
        ASSERT_TRUE(mutex.unlock() && mutex.unlock());
    });
    EXPECT_EQ(counter, threadsQty * rounds);
    EXPECT_FALSE(mutex.unlock());
    EXPECT_EQ(GetLastError(), 288U);
}

TEST(TimedMutexThreads, AreRefusedWhileAnotherHoldsItAndInheritFromTheDead)
{
    constexpr ulong32 abandoned = 128;
    TimedMutex mutex;
    Signal isHeld;
    Signal isOver;
    std::thread holder([&] {
        EXPECT_EQ(mutex.lock(), 0U);
        isHeld.set();
        isOver.wait();
    });
    isHeld.wait();
    EXPECT_EQ(mutex.lock(0), timedOut);
    EXPECT_EQ(mutex.lock(30), timedOut);
    EXPECT_FALSE(mutex.unlock());
    std::thread waiter([&] {
        EXPECT_EQ(mutex.lock(noLimit), abandoned);
        EXPECT_TRUE(mutex.unlock());
    });
    isOver.set();
    holder.join();
    waiter.join();
    EXPECT_EQ(mutex.lock(0), 0U);
}

TEST(OneTimeMethod, TellsHowFarItIsAndKeepsItsResultUntilItIsOver)
{
    int out = 5;
    Work work([&](Work& self, int argument) {
        EXPECT_EQ(self.state(), OneTimeMethod_RUNNING);
        EXPECT_EQ(self.run(true, 0), OneTimeMethod_RUNNING); // it would wait for itself
        EXPECT_EQ(self.waitForFinish(noLimit), OneTimeMethod_RUNNING);
        self.setResult(argument);
        EXPECT_EQ(self.result(&out), OneTimeMethod_NO_RESULT);
        throw 7;
    });
    EXPECT_EQ(work.state(), OneTimeMethod_NOT_STARTED);
    EXPECT_EQ(work.waitForFinish(1), OneTimeMethod_TIMED_OUT);
    EXPECT_EQ(work.run(false, 42), OneTimeMethod_THREW);
    EXPECT_EQ(out, 5);
    EXPECT_EQ(work.result(&out), OneTimeMethod_SUCCESS);
    EXPECT_EQ(out, 42);
    EXPECT_EQ(work.result(nullptr), OneTimeMethod_FAILED);
    EXPECT_EQ(work.run(true, 43), OneTimeMethod_FINISHED); // it is not tried again
    EXPECT_EQ(work.waitForFinish(0), OneTimeMethod_SUCCESS);
}

TEST(OneTimeMethodThreads, OneDoesTheWorkAndTheLastToWaitMayDestroyIt)
{
    for (int round = 0; round < 200; ++round) {
        int plain = 0; // published by nothing but the end of the work
        std::atomic<int> runners = 0;
        std::atomic<int> users = threadsQty;
        auto* const work = new Work([&](Work& self, int argument) {
            std::this_thread::yield();
            plain = argument + 1;
            self.setResult(argument);
        });
        SCOPED_TRACE(round);
        inThreads(threadsQty, [&](int thread) {
            runners += work->run(true, thread) == OneTimeMethod_SUCCESS;
            int out = -1;
            EXPECT_EQ(work->result(&out), OneTimeMethod_SUCCESS);
            EXPECT_EQ(plain, out + 1);
            if (--users == 0)
                delete work;
        });
        EXPECT_EQ(runners, 1);
    }
}
