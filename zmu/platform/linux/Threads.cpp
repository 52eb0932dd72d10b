// Identity of threads and processes, and the lock that its owner may enter again.
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

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

/// All sections in use, and the lock of their list.
constinit CRITICAL_SECTION* s_sections = nullptr;
constinit std::mutex s_sectionsLock;
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

/// Enters all sections that can be had. A thread that holds one and waits for another never meets
/// this one waiting for the first with the other in hand: where a section is not free at once all
/// are left again, and the wait is for that one.
void enterAll()
{
    constexpr long patience = 250; // milliseconds
    constexpr long moment = 2;
    const timespec end = later(now(), patience);
    CRITICAL_SECTION* awaited = nullptr;
    while (true) {
        const bool isOver = !isBefore(now(), end);
        const bool hasAwaited = awaited && !isOver && enterUntil(*awaited, end);
        CRITICAL_SECTION* missing = nullptr;
        for (CRITICAL_SECTION* section = s_sections; section; section = section->next) {
            if (hasAwaited && section == awaited)
                continue;
            if (enterUntil(*section, later(now(), moment)) || isOver)
                continue;
            leaveAll(section);
            if (hasAwaited &&
                awaited->owner.load(std::memory_order_relaxed) == GetCurrentThreadId())
                LeaveCriticalSection(awaited); // which stands further back
            missing = section;
            break;
        }
        if (!missing)
            return;
        awaited = missing;
    }
}

void beforeFork()
{
    s_sectionsLock.lock();
    enterAll();
}

void afterForkInParent()
{
    leaveAll(nullptr);
    s_sectionsLock.unlock();
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
    s_sectionsLock.unlock();
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
    const std::lock_guard guard(s_sectionsLock);
    (section->previous ? section->previous->next : s_sections) = section->next;
    if (section->next)
        section->next->previous = section->previous;
}

void EnterCriticalSection(CRITICAL_SECTION* section)
{
    const DWORD self = GetCurrentThreadId();
    if (enterAgain(*section, self))
        return;
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
