// What the platform says about threads beyond their identity and their locks.
#pragma once

#include <zmu/foundation/Types.h>

namespace zmu {

/// A number of the calling thread, from 1, that no other thread of the process has or had. Keeps
/// the last error.
u64 threadSerial();

/// Lets at least so much time pass.
void sleepMilliseconds(unsigned milliseconds);

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
