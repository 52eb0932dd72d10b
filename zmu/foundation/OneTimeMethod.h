// Work that is done once, however many threads ask for it.
//
//     class Connect : public OneTimeMethod {
//         int work(int port) override
//         {
//             setResult(openConnection(port));
//             return 0;
//         }
//     };
//
//     Connect connect;
//     connect.run(true, 4711);            // the first caller does the work, the others wait
//     int connection = 0;
//     if (connect.result(&connection) == OneTimeMethod_SUCCESS)
//         ...
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Mutex.h>
#include <zmu/foundation/Signal.h>
#include <zmu/foundation/Types.h>

#include <atomic>

/// How far the work is, and how an operation went.
enum OneTimeMethodState : int {
    OneTimeMethod_FAILED = 1, ///< A null argument, or a wait that failed.
    OneTimeMethod_THREW,      ///< The work ended by throwing.
    OneTimeMethod_FINISHED,
    OneTimeMethod_RUNNING,
    OneTimeMethod_DESTROYED,
    OneTimeMethod_NOT_STARTED,
    OneTimeMethod_NO_RESULT, ///< No result yet.
    OneTimeMethod_SUCCESS,
    OneTimeMethod_TIMED_OUT,
};

/// Goes from NOT_STARTED to RUNNING to FINISHED, and never back. Every operation may be called from
/// any thread, also from the work. None throws.
class ZMU_API OneTimeMethod {
  public:
    OneTimeMethod();
    /// The work must have ended, and nobody may be waiting for it.
    virtual ~OneTimeMethod();
    OneTimeMethod(const OneTimeMethod&) = delete;
    OneTimeMethod& operator=(const OneTimeMethod&) = delete;

    /// The first call does the work, on its own thread: SUCCESS, or THREW when the work threw,
    /// which also finishes it. Every other call answers with the state, RUNNING or FINISHED; with
    /// `waitForFinish` it waits for the end of the work first, unless it comes from the work.
    OneTimeMethodState run(bool waitForFinish, int argument);

    OneTimeMethodState state();

    /// What the work has set: SUCCESS once it has finished, and NO_RESULT before, which leaves
    /// `*out` alone. FAILED for a null `out`. Work that has set nothing gives -1.
    OneTimeMethodState result(int* out);

    /// For the work to call.
    void setResult(int value);

    /// Waits for so many milliseconds at most; 0xFFFFFFFF is no limit. SUCCESS, TIMED_OUT or
    /// FAILED; RUNNING at once when it is the work that calls.
    OneTimeMethodState waitForFinish(unsigned milliseconds);

  protected:
    /// What is to be done: called once, with the argument of the call that came first, and with no
    /// lock held. What it returns is ignored, what it throws ends here. It may end its
    /// thread, too.
    virtual int work(int argument) = 0;

  private:
    bool becomeRunner();
    OneTimeMethodState finish(OneTimeMethodState answer);
    bool isCalledByWork() const;

    Signal m_done;
    int m_result = -1;
    Mutex m_lock;
    /// Written under the lock, but also read without it, like the next.
    std::atomic<OneTimeMethodState> m_state = OneTimeMethod_NOT_STARTED;
    std::atomic<zmu::ulong32> m_owner = 0; ///< The thread that is doing the work, 0 when none.
};
