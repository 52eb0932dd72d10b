// The lock of work that is done in a moment.
#pragma once

namespace zmu {

/// One lock for all such work in the process, which takes none of the library's others while it
/// holds it, and waits for nothing else but memory. So a fork may wait for its end, whatever that
/// takes on a busy machine, where it gives up others (see Threads.h).
class BriefLock {
  public:
    BriefLock();
    ~BriefLock();
    BriefLock(const BriefLock&) = delete;
    BriefLock& operator=(const BriefLock&) = delete;
};

} // namespace zmu
