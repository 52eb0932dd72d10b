// The library's locks, between threads that load modules and in processes that are forked off.
#include "OwnerParts.h"

#include <linux/Child.h>

#include <zmu/foundation/Mutex.h>
#include <zmu/foundation/SystemTime.h>
#include <zmu/localize/ZarnLocalizeHelpers.h>
#include <zmu/notify/zgEL_Reporter.h>

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace zmu;
using namespace zmu_test;

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::atomic<bool> isLoading = false;
std::atomic<int> forks = 0; ///< That have begun.

} // namespace

/// What the module `owner_early` does while it is loaded.
extern "C" void zmu_test_whileLoading()
{
    isLoading = true;
    std::this_thread::sleep_for(milliseconds(50)); // for the other thread to be well on its way
    LoadLibraryW(L"no such module.dll");
}

TEST(Locks, LoadingModuleSearchesBesideTheFirstSearch)
{
    Child child([] {
        std::thread other([] {
            while (!isLoading)
                std::this_thread::yield();
            // Asks for the system's folders at once; not all systems have the journal.
            zgEL_Reporter::create("zmu", nullptr, 0);
        });
        const bool isLoaded = dlopen(EARLY_MODULE, RTLD_NOW) != nullptr;
        other.join();
        return isLoaded ? 0 : 1;
    });
    EXPECT_EQ(child.wait().status, 0);
}

TEST(Locks, ForkAwaitsAHolderThatMakesLocksAndNotThoseThatStay)
{
    constexpr milliseconds tooLong{2000}; // a quarter of a second is what is told
    ASSERT_EQ(pthread_atfork([] { ++forks; }, nullptr, nullptr), 0);
    std::vector<CriticalSection> kept(10);
    std::atomic<bool> areKept = false;
    std::atomic<bool> isOver = false;
    std::thread keeper([&] {
        for (Mutex& section : kept)
            section.lock();
        areKept = true;
        while (!isOver)
            std::this_thread::sleep_for(milliseconds(1));
        for (Mutex& section : kept)
            section.unlock();
    });
    bool hasWaited = false;
    bool wasSoon = false;
    for (int i = 0; i < 5 && !(hasWaited && wasSoon);
         ++i) { // a machine under load may be late once
        Mutex mutex;
        std::atomic<bool> isHeld = false;
        std::atomic<bool> isDone = false;
        std::thread holder([&] {
            const Synchronized guard(mutex);
            const int before = forks;
            isHeld = true;
            while (forks == before)
                std::this_thread::yield();
            const auto end = steady_clock::now() + milliseconds(20);
            do {
                const CriticalSection other;
                const zr::SystemTime now;
            } while (steady_clock::now() < end);
            isDone = true;
        });
        while (!isHeld || !areKept)
            std::this_thread::yield();
        const auto start = steady_clock::now();
        hasWaited = Child([&] { return isDone && kept[0].tryLock() ? 0 : 1; }).wait().status == 0;
        wasSoon = steady_clock::now() - start < tooLong;
        holder.join();
    }
    isOver = true;
    keeper.join();
    EXPECT_TRUE(hasWaited && wasSoon);
}

TEST(Locks, ChildHoldsWhatTheForkingThreadHeldAndNothingElse)
{
    Mutex own;
    Mutex anothers;
    own.lock();
    own.lock();
    std::atomic<bool> isHeld = false;
    std::atomic<bool> isOver = false;
    std::thread holder([&] {
        anothers.lock();
        isHeld = true;
        isHeld.notify_one();
        isOver.wait(false);
        anothers.unlock();
    });
    isHeld.wait(false);
    Child child([&] {
        const bool isFree = !anothers.unlock() && anothers.tryLock();
        const bool isCounted = anothers.unlock() && !anothers.unlock();
        const bool isOwnHeld = own.unlock() && own.unlock() && !own.unlock();
        return !isFree ? 1 : !isCounted ? 2 : !isOwnHeld ? 3 : 0;
    });
    EXPECT_EQ(child.wait().status, 0);
    isOver = true;
    isOver.notify_one();
    holder.join();
    EXPECT_TRUE(own.unlock() && own.unlock());
}

namespace {

/// What a fork of this process does in handlers that the library's run within.
void (*aroundForks)() = nullptr;

__attribute__((no_sanitize("address", "thread", "undefined"))) void watchForks(int, char**, char**)
{
    const auto handler = [] {
        if (aroundForks)
            aroundForks();
    };
    pthread_atfork(handler, handler, handler);
}
/// Before the libraries of the program are initialised.
__attribute__((section(".preinit_array"), used)) void (*const beforeLibraries)(int, char**,
                                                                               char**) = watchForks;

} // namespace

TEST(Locks, ForkWaitsForNoHandlerOfItsOwn)
{
    Child forking([] {
        aroundForks = [] {
            CriticalSection section;
            const Synchronized guard(section);
            const zr::SystemTime now;
        };
        return Child([] { return 0; }).wait().status;
    });
    EXPECT_EQ(forking.wait().status, 0);
}

TEST(Locks, ChildrenOfABusyProcessFindAllFree)
{
    if (const char* const reason = whyForksCannotAllocate())
        GTEST_SKIP() << reason;
    const Folder folder;
    setLogDirectory(folder.path("."));
    Zarn* const monitor = Owner().createZarnMonitor();
    ASSERT_TRUE(monitor);
    const auto obtainVersion = [] {
        wchar_t version[48] = {};
        return ZarnLocalizeHelpers::obtainVersionZGW(version, 48, Zarn_FORM_TAG_FILE_VERSION,
                                                     GetModuleHandleW(nullptr));
    };
    const auto tellTime = [] { return zr::SystemTime().Year() > 2000; };
    std::atomic<bool> isDone = false;
    std::vector<std::thread> threads;
    const auto keepBusy = [&](auto work) {
        threads.emplace_back([&isDone, work] {
            while (!isDone)
                EXPECT_TRUE(work());
        });
    };
    keepBusy(obtainVersion);
    keepBusy(tellTime);
    keepBusy([] { return codeOfConstruction() == 0; });
    for (int i = 0; i < 25 && !HasFailure(); ++i)
        EXPECT_EQ(Child([&] {
                      return !tellTime() ? 1 : !obtainVersion() ? 2 : reportText(monitor, L"child");
                  })
                      .wait()
                      .status,
                  0);
    isDone = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(Zarn::destroy(), 1);
}
