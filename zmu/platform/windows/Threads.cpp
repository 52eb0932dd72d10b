#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>

#include <atomic>
#include <cstdint>

namespace {

/// A place in each thread, which nobody needs to clear. Compilers keep thread_local variables in
/// memory of their own, which some give back before the system tells of the thread's end; to use
/// one then would leave new memory behind.
class ThreadSlot {
  public:
    ThreadSlot() : m_index(TlsAlloc()) {}
    ~ThreadSlot() { TlsFree(m_index); }
    ThreadSlot(const ThreadSlot&) = delete;
    ThreadSlot& operator=(const ThreadSlot&) = delete;

    u64 get() const
    {
        const DWORD error = GetLastError(); // which the next call clears
        void* const value = TlsGetValue(m_index);
        SetLastError(error);
        return reinterpret_cast<std::uintptr_t>(value);
    }
    bool set(u64 value) const
    {
        return TlsSetValue(m_index, reinterpret_cast<void*>(static_cast<std::uintptr_t>(value)));
    }

  private:
    DWORD m_index;
};

const ThreadSlot serialSlot;
const ThreadSlot keptNumberSlot;
const ThreadSlot keptValueSlot;
std::atomic<u64> lastSerial = 0;

} // namespace

u64 zmu::threadSerial()
{
    u64 serial = serialSlot.get();
    if (serial == 0) {
        serial = ++lastSerial;
        if (!serialSlot.set(serial))
            return GetCurrentThreadId(); // all places are taken
    }
    return serial;
}

void* zmu::keptByThread(u64 number)
{
    return keptNumberSlot.get() == number
               ? reinterpret_cast<void*>(static_cast<std::uintptr_t>(keptValueSlot.get()))
               : nullptr;
}

void zmu::keepForThread(u64 number, void* value)
{
    // In this order, so that a place that cannot be had leaves nothing under a wrong number.
    if (keptNumberSlot.set(0) && keptValueSlot.set(reinterpret_cast<std::uintptr_t>(value)))
        keptNumberSlot.set(number);
}

void zmu::forgetCountInChild(CRITICAL_SECTION&, std::atomic<ulong32>&) {} // There are no forks.

unsigned zmu::forkCount()
{
    return 0;
}

void zmu::resumeThreadExit() {} // A thread's end is no exception here.

// A thread here ends by itself or dies on the spot, which nothing could hold back.
zmu::CancellationHold::CancellationHold() = default;
zmu::CancellationHold::~CancellationHold() = default;
