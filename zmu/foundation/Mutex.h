// A lock that its thread may take again, and the guard that holds it for a scope.
//
//     Mutex mutex;
//     {
//         Synchronized guard(mutex);
//         ...                          // released here, also when an exception passes through
//     }
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/PlatformRoom.h>
#include <zmu/foundation/Types.h>

#include <atomic>

/// A recursive lock within the process. A thread that takes it several times must release it as
/// often. Every operation may be called from any thread.
class ZMU_API Mutex {
  public:
    Mutex();
    /// Nobody may hold the lock any more, or wait for it.
    virtual ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// Takes the lock, waiting for as long as another thread holds it. Returns 0; never fails.
    int lock();

    /// Takes the lock if that needs no waiting. Whether it did.
    bool tryLock();

    /// Releases the lock once. Returns false, and does nothing, when nobody holds it. A thread that
    /// does not hold it must not call this while another does: that releases the other's.
    bool unlock();

  private:
    void countLock();

    zmu::PlatformRoom<80> m_section; ///< The platform's lock.
    /// How often the lock is held and not yet released. Changed by the holder only; unlock() reads
    /// it before it knows whether it is the holder.
    std::atomic<zmu::ulong32> m_lockCount = 0;
};

/// The lock of a data set: a Mutex under a name of its own.
class ZMU_API CriticalSection : public Mutex {
  public:
    ~CriticalSection() override;
};

/// Holds a Mutex from its construction to the end of its scope. The mutex must outlive it.
class ZMU_API Synchronized {
  public:
    explicit Synchronized(Mutex& mutex);
    virtual ~Synchronized();
    Synchronized(const Synchronized&) = delete;
    Synchronized& operator=(const Synchronized&) = delete;

  private:
    Mutex* m_mutex;
};
