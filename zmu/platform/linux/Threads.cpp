// Identity of threads and processes, and the lock that its owner may enter again.
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

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

void acquire(CRITICAL_SECTION& section)
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

} // namespace

DWORD GetCurrentThreadId()
{
    thread_local DWORD id = 0;
    if (id == 0)
        id = static_cast<DWORD>(gettid());
    return id;
}

u64 zmu::threadSerial()
{
    static std::atomic<u64> last = 0;
    thread_local const u64 serial = ++last;
    return serial;
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
}

void DeleteCriticalSection(CRITICAL_SECTION*) {} // its members need no more than their destructors

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
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_previous);
}

zmu::CancellationHold::~CancellationHold()
{
    pthread_setcancelstate(m_previous, nullptr);
}
