// An event that threads wait for: clear or set, and set until somebody clears it.
//
//     Signal isReady;
//     std::jthread worker([&] { prepare(); isReady.set(); });
//     if (isReady.wait(5000, 0) == 258)
//         ...                                   // five seconds were too short
//
// Threads: every operation may be called from any thread. A waiter that has seen the signal set may
// destroy it at once.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>

/// Results of a wait are the platform's: 0 the signal is set, 258 the time is over, 0xFFFFFFFF the
/// wait failed, with the last error. Nothing here throws. A signal that could not be made shows in
/// the results: set and reset give false and a wait fails, with the last error 6.
class ZMU_API Signal {
  public:
    /// A signal of its own, clear.
    Signal();
    /// Shares the state of every other signal of this name, which is in the narrow code page, at
    /// most 259 bytes, and minds case. The first one decides whether it is set. Null and "" are no
    /// name. A name reaches as far as the platform's do: on Windows through the session, elsewhere
    /// through the process.
    Signal(const char* name, bool initiallySet);
    /// Nobody may be waiting for this object.
    virtual ~Signal();
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    /// Lets go everybody who waits, and who will wait, until reset().
    bool set();
    bool reset();

    /// Waits for as long as it takes.
    zmu::ulong32 wait();
    /// Waits for so many milliseconds at most, by a clock that nobody sets; 0 only looks.
    /// 0xFFFFFFFF is no limit. `reserved` is ignored.
    zmu::ulong32 wait(unsigned milliseconds, int reserved);

  private:
    void* m_event;
};
