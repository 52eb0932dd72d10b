// What the platform says about threads beyond their identity and their locks.
#pragma once

#include <zmu/foundation/Types.h>

namespace zmu {

/// A number of the calling thread, from 1, that no other thread of the process has or had. Keeps
/// the last error.
u64 threadSerial();

/// What the calling thread has kept last, if that was under this number; else null. Also at the end
/// of a thread. Keeps the last error.
void* keptByThread(u64 number);
/// Keeps `value`, in place of what was kept before, under a number that is not 0.
void keepForThread(u64 number, void* value);

/// How many forks lie between the first process and this one: another number in each child. Where a
/// process cannot be forked, always 0.
///
/// Around a fork the library takes its locks, so that a child finds what they guard whole, and them
/// free. It waits a quarter of a second for all of them. One that another thread holds for longer,
/// with a dialog of its host open for one, is free in the child all the same: what that thread was
/// doing ends there.
unsigned forkCount();

/// In a handler of any exception: where a thread ends by unwinding, and that is what was caught,
/// goes on with the end, which nothing may stop. Otherwise returns.
void resumeThreadExit();

/// Keeps the calling thread from being cancelled while it lives: an operation that holds the data
/// set's lock, or writes the log, goes on to its end. Nests. Nothing to do where threads cannot be
/// cancelled.
class CancellationHold {
  public:
    CancellationHold();
    ~CancellationHold();
    CancellationHold(const CancellationHold&) = delete;
    CancellationHold& operator=(const CancellationHold&) = delete;

  private:
    int m_previous = 0;
};

} // namespace zmu
