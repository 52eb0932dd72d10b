// A host's life under faults: the start of an owner, situations of two threads, a rollover, an end.
#pragma once

#include "Ledger.h"

#include <linux/Child.h>

#include <zmu/monitor/Zarn.h>

#include <functional>
#include <string>

namespace zmu_torture {

/// What a life may meet with.
enum class FaultTime { None, Start, Work };

struct Life {
    const Place& place; ///< Cleared first.
    /// Lets faults in, or keeps them out.
    std::function<void(FaultTime)> setFaults;
    /// What the host does besides, with faults let in; null for nothing.
    std::function<void(Zarn*)> more = {};
    /// Whether faults last as long as they are let in. A file of which the system tells nothing
    /// may be written once more then, and one that others have cut stays cut; nothing is lost.
    bool faultsLast = false;
};

/// Lives that life in a fork of this process, which has not used the library. Nothing may crash or
/// hang; what is told as done is in a log, each entry once; what is not says a code; and without
/// faults everything works again. The child ends with 0 then, else with the number of a failure.
zmu_test::ChildEnd liveInChild(const Life& life);

/// What was wrong with a life; empty if nothing.
std::string describeLife(const zmu_test::ChildEnd& end);

} // namespace zmu_torture
