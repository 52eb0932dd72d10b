// A lock that a thread waits for no longer than it wants to.
//
//     TimedMutex mutex;
//     if (mutex.lock(200) == 0) {
//         ...
//         mutex.unlock();
//     }
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>

/// A recursive lock within the process. A thread that takes it several times must release it as
/// often. Every operation may be called from any thread, and none throws.
///
/// Results of a wait are the platform's: 0 the lock is taken, 128 it is taken from a thread that
/// ended with it, 258 the time is over, 0xFFFFFFFF the wait failed, with the last error. A lock
/// that could not be made fails every wait with the last error 6.
class ZMU_API TimedMutex {
  public:
    TimedMutex();
    /// Nobody may be waiting for the lock.
    virtual ~TimedMutex();
    TimedMutex(const TimedMutex&) = delete;
    TimedMutex& operator=(const TimedMutex&) = delete;

    /// Takes the lock, waiting for as long as it takes.
    zmu::ulong32 lock();
    /// Waits for so many milliseconds at most, by a clock that nobody sets; 0 only tries.
    /// 0xFFFFFFFF is no limit.
    zmu::ulong32 lock(unsigned milliseconds);

    /// Releases the lock once. False for a thread that does not hold it (last error 288).
    bool unlock();

  private:
    void* m_handle;
};
