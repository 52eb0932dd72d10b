// Allocations that fail. A program that is linked with this has it as its allocator.
#pragma once

#include "Child.h"
#include "Ledger.h"

#include <string>

namespace zmu_test {

/// The allocations of a host's life in a fork of this process, see Life.h. Those with the numbers
/// from `first` to `last` fail, 1 being the first.
class LifeWithoutMemory {
  public:
    LifeWithoutMemory(const Place& place, long first, long last);

    /// How many there were.
    static long allocations();
    /// Whether it ended where Qt was making its first objects of a thread or of a stream, which it
    /// does not survive without memory.
    bool endedInQt = false;
    std::string failure; ///< Any; empty if all went well.
    ChildEnd end;
};

} // namespace zmu_test
