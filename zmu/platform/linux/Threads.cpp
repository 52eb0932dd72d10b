// Identity of threads and processes, and the lock that its owner may enter again.
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/BriefLock.h>

#include <cxxabi.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

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

void becomeOwner(CRITICAL_SECTION& section, DWORD self)
{
    section.owner.store(self, std::memory_order_relaxed);
    section.depth = 1;
}

// ---- Forks ---------------------------------------------------------------------------------------

/// All sections in use, and the lock of their list, for short holds only: a thread that holds a
/// section makes others, and takes them back.
constinit CRITICAL_SECTION* s_sections = nullptr;
constinit std::mutex s_sectionsLock;
/// The section that a fork waits for without the list's lock; it stays for so long.
constinit CRITICAL_SECTION* s_awaited = nullptr;
constinit std::mutex s_briefLock;
constinit std::mutex s_forkLock; ///< One fork at a time.
constinit std::atomic<bool> s_isForkPending = false;
constinit std::atomic<unsigned> s_forkCount = 0;

constinit std::atomic<DWORD> s_lastThread = 0;

constinit thread_local int s_holdDepth = 0; ///< Of CancellationHold: the outermost one does it.

/// Moments by the clock of acquireUntil.
timespec later(const timespec& moment, long milliseconds)
{
    constexpr long ofSecond = 1'000'000'000;
    const long nanoseconds = moment.tv_nsec + milliseconds * 1'000'000;
    return {moment.tv_sec + nanoseconds / ofSecond, nanoseconds % ofSecond};
}
bool isBefore(const timespec& left, const timespec& right)
{
    return left.tv_sec < right.tv_sec ||
           (left.tv_sec == right.tv_sec && left.tv_nsec < right.tv_nsec);
}
timespec now()
{
    timespec moment{};
    clock_gettime(CLOCK_MONOTONIC, &moment);
    return moment;
}

/// Takes a mutex, waiting until `end` at most.
bool lockUntil(std::mutex& mutex, const timespec& end)
{
    // The thread sanitizer does not know the function: it is told what becomes of the mutex.
#if defined(__SANITIZE_THREAD__)
    __tsan_mutex_pre_lock(&mutex, __tsan_mutex_try_lock);
#endif
    const bool isTaken = pthread_mutex_clocklock(mutex.native_handle(), CLOCK_MONOTONIC, &end) == 0;
#if defined(__SANITIZE_THREAD__)
    __tsan_mutex_post_lock(
        &mutex, __tsan_mutex_try_lock | (isTaken ? 0U : __tsan_mutex_try_lock_failed), 0);
#endif
    return isTaken;
}

/// Enters, waiting until `end` at most.
bool enterUntil(CRITICAL_SECTION& section, const timespec& end)
{
    const DWORD self = GetCurrentThreadId();
    if (enterAgain(section, self))
        return true;
    if (!lockUntil(section.gate, end))
        return false;
    becomeOwner(section, self);
    return true;
}

void leaveAll(const CRITICAL_SECTION* end)
{
    for (CRITICAL_SECTION* section = s_sections; section != end; section = section->next) {
        if (section->owner.load(std::memory_order_relaxed) == GetCurrentThreadId())
            LeaveCriticalSection(section);
    }
}

bool holdsAny(DWORD thread)
{
    const std::lock_guard guard(s_sectionsLock);
    for (const CRITICAL_SECTION* section = s_sections; section; section = section->next) {
        if (section->owner.load(std::memory_order_relaxed) == thread)
            return true;
    }
    return false;
}

/// A fork that waits for a section is not as quick as threads that take it in turns: they give it
/// some time, unless it may be waiting for this very thread.
void letForkGoFirst(DWORD self)
{
    constexpr int triesQty = 20;
    for (int i = 0; i < triesQty && s_isForkPending && !holdsAny(self); ++i)
        Sleep(1);
}

constexpr long patience = 250; // milliseconds

/// Enters all sections, one of which, `entered`, may be so already. With one that is not free soon
/// it leaves them all again and returns that one. Where one is known to be `kept`, it goes without
/// those that are, and returns null.
CRITICAL_SECTION* enterAll(CRITICAL_SECTION* entered, const CRITICAL_SECTION* kept)
{
    constexpr long moment = 2; // milliseconds
    for (CRITICAL_SECTION* section = s_sections; section; section = section->next) {
        const long wait = section == kept ? 0 : kept ? patience : moment;
        if (section == entered || enterUntil(*section, later(now(), wait)) || kept)
            continue;
        leaveAll(section);
        if (entered && entered->owner.load(std::memory_order_relaxed) == GetCurrentThreadId())
            LeaveCriticalSection(entered); // which stands further back
        return section;
    }
    return nullptr;
}

/// Takes the list's lock, and all sections that nobody keeps for long. A thread that holds one and
/// waits for another, or for the list, never meets this one waiting for the first with the other in
/// hand: where a section is not free soon all are left again, and the wait is for that one.
void beforeFork()
{
    constexpr long patienceInAll = 2000; // milliseconds
    s_forkLock.lock();
    s_isForkPending = true;
    s_sectionsLock.lock();
    const timespec end = later(now(), patienceInAll);
    CRITICAL_SECTION* entered = nullptr;
    const CRITICAL_SECTION* kept = nullptr;
    while (CRITICAL_SECTION* const missing = enterAll(entered, kept)) {
        s_awaited = missing;
        s_sectionsLock.unlock();
        entered = enterUntil(*missing, later(now(), patience)) ? missing : nullptr;
        s_sectionsLock.lock();
        s_awaited = nullptr;
        if (!entered || !isBefore(now(), end))
            kept = missing;
    }
    s_briefLock.lock();
}

void afterFork()
{
    s_briefLock.unlock();
    s_isForkPending = false;
    s_sectionsLock.unlock();
    s_forkLock.unlock();
}

void afterForkInParent()
{
    leaveAll(nullptr);
    afterFork();
}

void afterForkInChild()
{
    for (CRITICAL_SECTION* section = s_sections; section; section = section->next) {
        if (section->owner.load(std::memory_order_relaxed) == GetCurrentThreadId()) {
            LeaveCriticalSection(section);
            continue;
        }
        // Its holder is no thread of this process.
        std::construct_at(&section->gate);
        section->owner.store(0, std::memory_order_relaxed);
        section->depth = 0;
    }
    ++s_forkCount;
    afterFork();
}

/// From the time on when the library is loaded, and so before its hosts: what they do before a fork
/// then comes first, and they may take locks there under which they report.
struct ForkWatch {
    ForkWatch() { pthread_atfork(beforeFork, afterForkInParent, afterForkInChild); }
};
const ForkWatch forkWatch;

} // namespace

DWORD GetCurrentThreadId()
{
    // The system's own number is another one in the child of a fork.
    thread_local DWORD id = 0;
    while (id == 0)
        id = static_cast<DWORD>(++s_lastThread);
    return id;
}

unsigned zmu::forkCount()
{
    return s_forkCount.load(std::memory_order_relaxed);
}

u64 zmu::threadSerial()
{
    static std::atomic<u64> last = 0;
    thread_local const u64 serial = ++last;
    return serial;
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

void zmu::sleepMilliseconds(unsigned milliseconds)
{
    constexpr unsigned ofSecond = 1000;
    constexpr long nanoseconds = 1000000; // of a millisecond
    timespec left{static_cast<time_t>(milliseconds / ofSecond),
                  static_cast<long>(milliseconds % ofSecond) * nanoseconds};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
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
    const std::lock_guard guard(s_sectionsLock);
    section->previous = nullptr;
    section->next = std::exchange(s_sections, section);
    if (section->next)
        section->next->previous = section;
}

void DeleteCriticalSection(CRITICAL_SECTION* section)
{
    std::unique_lock guard(s_sectionsLock);
    while (section == s_awaited) { // not for long: nobody else holds it now
        guard.unlock();
        Sleep(1);
        guard.lock();
    }
    (section->previous ? section->previous->next : s_sections) = section->next;
    if (section->next)
        section->next->previous = section->previous;
}

void EnterCriticalSection(CRITICAL_SECTION* section)
{
    const DWORD self = GetCurrentThreadId();
    if (enterAgain(*section, self))
        return;
    if (s_isForkPending.load(std::memory_order_relaxed))
        letForkGoFirst(self);
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
    if (--section->depth != 0)
        return;
    section->owner.store(0, std::memory_order_relaxed);
    section->gate.unlock();
}

zmu::BriefLock::BriefLock()
{
    if (s_isForkPending)
        letForkGoFirst(GetCurrentThreadId());
    s_briefLock.lock();
}

zmu::BriefLock::~BriefLock()
{
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
