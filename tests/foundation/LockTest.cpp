#include <Processes.h>

#include <zmu/foundation/Mutex.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

TEST(Lock, ReleasingWhatNobodyHoldsIsRefusedAndHarmless)
{
    CriticalSection section;
    EXPECT_FALSE(section.unlock());
    EXPECT_EQ(section.lock(), 0);
    EXPECT_TRUE(section.unlock());
    const auto throwWhileHeld = [&] {
        Synchronized guard(section);
        throw std::runtime_error("passing");
    };
    EXPECT_THROW(throwWhileHeld(), std::runtime_error);
    EXPECT_FALSE(section.unlock());
}

// ThreadSanitizer takes this for a mistake: no name that it is run for.
TEST(Lock, ReleaseByAnotherIsTheHolders)
{
    Mutex mutex;
    const auto isEntered = [&] { return mutex.tryLock() && mutex.unlock(); };
    const auto inAnotherThread = [](const auto& call) {
        bool result = false;
        std::thread([&] { result = call(); }).join();
        return result;
    };
    mutex.lock();
    mutex.lock();
    EXPECT_TRUE(inAnotherThread([&] { return mutex.unlock(); }));
    EXPECT_FALSE(inAnotherThread(isEntered));
    EXPECT_TRUE(inAnotherThread([&] { return mutex.unlock(); }));
    EXPECT_TRUE(inAnotherThread(isEntered));
    EXPECT_FALSE(mutex.unlock());
    EXPECT_TRUE(isEntered());
}

TEST(LockThreads, HeldTwiceNeedsTwoReleases)
{
    Mutex mutex;
    std::atomic<bool> hasEntered = false;
    mutex.lock();
    mutex.lock();
    std::thread other([&] {
        Synchronized guard(mutex);
        hasEntered = true;
    });
    std::thread([&] { EXPECT_FALSE(mutex.tryLock()); }).join();
    EXPECT_TRUE(mutex.tryLock()); // a third time
    EXPECT_TRUE(mutex.unlock());
    // Long enough for the other thread to give up spinning and go to sleep.
    const auto wait = [] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); };
    wait();
    EXPECT_TRUE(mutex.unlock());
    wait();
    EXPECT_FALSE(hasEntered);
    EXPECT_TRUE(mutex.unlock());
    other.join();
    EXPECT_TRUE(hasEntered);
}

TEST(LockThreads, ExcludeEachOtherThroughReentry)
{
    constexpr int threadsQty = 4;
    constexpr int rounds = 20000;
    Mutex mutex;
    int counter = 0; // guarded by nothing but the lock
    zmu_test::inThreads(threadsQty, [&](int) {
        for (int round = 0; round < rounds; ++round) {
            Synchronized outer(mutex);
            const int seen = counter;
            Synchronized inner(mutex);
            counter = seen + 1;
        }
    });
    EXPECT_EQ(counter, threadsQty * rounds);
    EXPECT_FALSE(mutex.unlock());
}
