// Identity of threads and processes, and the lock that its owner may enter again.
#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/BriefLock.h>

#include <cxxabi.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <mutex>
#include <utility>

namespace {

/// How often a contended lock is tried at once: enough for the shortest holds.
constexpr int spinLimit = 10;
/// How often it is tried again after a short sleep. Two threads that took turns at every entry
/// would spend more on moving the log between their processors than on writing it, and waking a
/// sleeper costs the holder a system call; so a waiter comes back by itself, and queues up only in
/// the end.
constexpr int sleepLimit = 20;
constexpr long sleepNanoseconds = 20000;

void pauseProcessor()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

bool tryToAcquire(CRITICAL_SECTION& section)
{
    // A look at the owner first keeps the waiting threads from fighting over the gate.
    return section.owner.load(std::memory_order_relaxed) == 0 && section.gate.try_lock();
}

/// Not part of its callers, which mostly enter once more.
[[gnu::noinline]] void acquire(CRITICAL_SECTION& section)
{
    for (int i = 0; i < spinLimit; ++i) {
        if (tryToAcquire(section))
            return;
        pauseProcessor();
    }
    const zmu::CancellationHold hold; // sleeping is where a thread could be cancelled
    for (int i = 0; i < sleepLimit; ++i) {
        const timespec moment{0, sleepNanoseconds};
        nanosleep(&moment, nullptr);
        if (tryToAcquire(section))
            return;
    }
    section.gate.lock();
}

/// Whether the calling thread, `self`, is the owner already; it then has entered once more.
bool enterAgain(CRITICAL_SECTION& section, DWORD self)
{
    // Only this thread ever stores its own identity, so no order is needed to recognise it.
    if (section.owner.load(std::memory_order_relaxed) != self)
        return false;
    ++section.depth;
    return true;
}

constinit thread_local unsigned s_ownedCount = 0; ///< Sections that the thread is the owner of.
/// Sections that threads have left in the place of their owner, and how many of them the thread has
/// taken into account.
constinit std::atomic<unsigned> s_leftByOthers = 0;
constinit thread_local unsigned s_leftByOthersSeen = 0;

void becomeOwner(CRITICAL_SECTION& section, DWORD self)
{
    section.owner.store(self, std::memory_order_relaxed);
    section.depth = 1;
    ++s_ownedCount;
}

// ---- Forks ---------------------------------------------------------------------------------------

/// All sections in use, and the lock of their list, for short holds only: a thread that holds a
/// section makes others, and takes them back.
constinit CRITICAL_SECTION* s_sections = nullptr;
constinit std::mutex s_sectionsLock;
constinit std::mutex s_briefLock;
constinit std::mutex s_forkLock;           ///< One fork at a time.
constinit std::atomic<DWORD> s_forker = 0; ///< The thread that forks, 0 for none.
constinit std::atomic<unsigned> s_forkCount = 0;

constinit std::atomic<u64> s_lastThread = 0;

constinit thread_local int s_holdDepth = 0; ///< Of CancellationHold: the outermost one does it.

/// Whether the calling thread is the one that forks. It has all of these locks, and comes here
/// again where handlers of the host's report or make monitors, of which those that were registered
/// before the library's run within them.
bool isForker()
{
    return s_forker.load(std::memory_order_relaxed) == GetCurrentThreadId();
}

std::unique_lock<std::mutex> holdSections()
{
    return isForker() ? std::unique_lock<std::mutex>() : std::unique_lock(s_sectionsLock);
}

bool ownsAny()
{
    if (const unsigned left = s_leftByOthers; left != s_leftByOthersSeen) {
        const auto hold = holdSections();
        s_leftByOthersSeen = left;
        s_ownedCount = 0;
        for (const CRITICAL_SECTION* section = s_sections; section; section = section->next) {
            if (section->owner.load(std::memory_order_relaxed) == GetCurrentThreadId())
                ++s_ownedCount;
        }
    }
    return s_ownedCount != 0;
}

/// A fork that waits for a section is not as quick as threads that take it in turns: they give it
/// some time, unless it may be waiting for this very thread, or is this thread's.
void letForkGoFirst()
{
    constexpr int triesQty = 20;
    for (int i = 0; i < triesQty && s_forker != 0 && !ownsAny() && !isForker(); ++i)
        Sleep(1);
}

/// Enters all sections that are free now. Whether that were all.
bool enterFreeOnes()
{
    bool areAll = true;
    for (CRITICAL_SECTION* section = s_sections; section; section = section->next) {
        if (!section->isEnteredByFork)
            section->isEnteredByFork = TryEnterCriticalSection(section);
        areAll = areAll && section->isEnteredByFork;
    }
    return areAll;
}

void leaveThose()
{
    for (CRITICAL_SECTION* section = s_sections; section; section = section->next) {
        if (std::exchange(section->isEnteredByFork, false))
            LeaveCriticalSection(section);
    }
}

/// Takes the list's lock, and all sections that nobody keeps for long. For most of its time it has
/// either all of them or, while it waits, none, nor the list's lock: so whoever holds one can take
/// others, and make some, and come to an end. What is not free by then is in use for long, by a
/// dialog for one; of the rest it keeps what it gets.
void beforeFork()
{
    using std::chrono::milliseconds;
    constexpr milliseconds patience{230};
    constexpr milliseconds patienceForTheRest{20};
    constexpr DWORD step = 1; // milliseconds
    s_forkLock.lock();
    s_forker = GetCurrentThreadId();
    const auto end = std::chrono::steady_clock::now() + patience;
    s_sectionsLock.lock();
    while (!enterFreeOnes()) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= end + patienceForTheRest)
            break;
        if (now >= end) {
            Sleep(step);
            continue;
        }
        leaveThose();
        s_sectionsLock.unlock();
        Sleep(step);
        s_sectionsLock.lock();
    }
    s_briefLock.lock();
}

void afterFork()
{
    leaveThose();
    s_briefLock.unlock();
    s_forker = 0;
    s_sectionsLock.unlock();
    s_forkLock.unlock();
}

void afterForkInChild()
{
    for (CRITICAL_SECTION* section = s_sections; section; section = section->next) {
        if (section->owner.load(std::memory_order_relaxed) == GetCurrentThreadId())
            continue;
        // Its holder is no thread of this process.
        std::construct_at(&section->gate);
        section->owner.store(0, std::memory_order_relaxed);
        section->depth = 0;
        if (section->count)
            *section->count = 0;
    }
    ++s_forkCount;
    afterFork();
}

/// From the time on when the library is loaded, and so before its hosts: what they do before a fork
/// then comes first, and they may take locks there under which they report.
struct ForkWatch {
    ForkWatch() { pthread_atfork(beforeFork, afterFork, afterForkInChild); }
};
const ForkWatch forkWatch;

} // namespace

u64 zmu::threadSerial()
{
    constinit thread_local u64 serial = 0;
    while (static_cast<DWORD>(serial) == 0) // which is the thread's identity
        serial = ++s_lastThread;
    return serial;
}

namespace {

struct Kept {
    u64 number;
    void* value;
};
constinit thread_local Kept s_kept = {};

} // namespace

void* zmu::keptByThread(u64 number)
{
    return s_kept.number == number ? s_kept.value : nullptr;
}

void zmu::keepForThread(u64 number, void* value)
{
    s_kept = {number, value};
}

DWORD GetCurrentThreadId()
{
    // The system's own number is another one in the child of a fork.
    return static_cast<DWORD>(zmu::threadSerial());
}

unsigned zmu::forkCount()
{
    return s_forkCount.load(std::memory_order_relaxed);
}

// The runtime hands out a thread's end without an object: the reference in the handler is null.
__attribute__((no_sanitize("null"))) void zmu::resumeThreadExit()
{
    try {
        throw;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return;
    }
}

DWORD GetCurrentProcessId()
{
    return static_cast<DWORD>(getpid());
}

void Sleep(DWORD milliseconds)
{
    const zmu::CancellationHold hold;
    timespec left{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1000000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

void InitializeCriticalSection(CRITICAL_SECTION* section)
{
    section->owner.store(0, std::memory_order_relaxed);
    section->depth = 0;
    section->count = nullptr;
    section->isEnteredByFork = false;
    const auto hold = holdSections();
    section->previous = nullptr;
    section->next = std::exchange(s_sections, section);
    if (section->next)
        section->next->previous = section;
}

void DeleteCriticalSection(CRITICAL_SECTION* section)
{
    const auto hold = holdSections();
    (section->previous ? section->previous->next : s_sections) = section->next;
    if (section->next)
        section->next->previous = section->previous;
}

void EnterCriticalSection(CRITICAL_SECTION* section)
{
    const DWORD self = GetCurrentThreadId();
    if (enterAgain(*section, self))
        return;
    if (s_forker.load(std::memory_order_relaxed) != 0)
        letForkGoFirst();
    acquire(*section);
    becomeOwner(*section, self);
}

BOOL TryEnterCriticalSection(CRITICAL_SECTION* section)
{
    const DWORD self = GetCurrentThreadId();
    if (enterAgain(*section, self))
        return TRUE;
    if (!tryToAcquire(*section))
        return FALSE;
    becomeOwner(*section, self);
    return TRUE;
}

void LeaveCriticalSection(CRITICAL_SECTION* section)
{
    if (section->depth == 0 || --section->depth != 0)
        return;
    const bool isOwners = section->owner.load(std::memory_order_relaxed) == GetCurrentThreadId();
    section->owner.store(0, std::memory_order_relaxed);
    if (isOwners)
        --s_ownedCount;
    else
        ++s_leftByOthers;
    section->gate.unlock(); // as the C library has it any thread may
}

void zmu::forgetCountInChild(CRITICAL_SECTION& section, std::atomic<ulong32>& count)
{
    section.count = &count;
}

zmu::BriefLock::BriefLock()
{
    if (isForker())
        return;
    letForkGoFirst();
    s_briefLock.lock();
}

zmu::BriefLock::~BriefLock()
{
    if (!isForker())
        s_briefLock.unlock();
}

zmu::CancellationHold::CancellationHold()
{
    if (s_holdDepth++ == 0)
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_previous);
}

zmu::CancellationHold::~CancellationHold()
{
    if (--s_holdDepth == 0)
        pthread_setcancelstate(m_previous, nullptr);
}
