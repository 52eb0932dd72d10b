// One log for many processes, by the owner of a log itself: what other processes have left in spool
// files, written into the log of a monitor beside the owner's own situations.
//
//     zmu_collect::LogCollector collector;
//     std::thread thread([&] {
//         zmu_collect::CollectOptions options;
//         options.spools = {"/var/spool/zmu"};
//         options.positions = "/var/lib/product/collect.positions";
//         options.tell = [](const char* what) { std::fprintf(stderr, "%s\n", what); };
//         if (collector.run(monitor, options) == zmu_collect::CollectEnd::Failed)
//             std::fprintf(stderr, "%s\n", collector.why());
//     });
//     ...
//     collector.stop();
//     thread.join();
//     ZarnDataZGW::destroyZarnMonitor(monitor);
//
// It is what the command `zmu collect` does: an entry for each situation, with its origin; entries
// for what is missing or cannot be read; nothing lost and nothing twice, whatever is killed. After
// a kill that is found out by reading the logs back, so that each log needs a name of its own, as
// those of owners have.
//
// Link with zmu::collect (pkg-config: zmu-collect). Texts are UTF-8, or on Linux whatever bytes a
// path has. No exception leaves these operations.
#pragma once

#include <zmu/collect/Export.h>
#include <zmu/foundation/Mutex.h>
#include <zmu/platform/Host.h>

#include <functional>
#include <string>
#include <vector>

class Zarn;

namespace zmu_collect {

class Collector;

/// The situations, 1 or more, that collected entries are reported as, and the module that has their
/// response specs. The log text of each is its one argument and nothing else; it is a wide text
/// that comes with the call, and is HTML already: "2~0~2~s||0``%1!s!`". Another module is needed
/// only by a data set with other separators than usual.
struct Situations {
    int collected = 10100; ///< Its number is not shown, but that which was reported.
    int missing = 10101;
    int passedOver = 10102;
    HMODULE module = nullptr; ///< Null for the library, which has these three.
};

struct CollectOptions {
    /// Folders of spool files, one at least; they exist.
    std::vector<std::string> spools;
    /// The file that tells how far they were read. It is made if it is not there, in a folder that
    /// exists, and a second one beside it, with ".lock" behind its name, which stays. One collector
    /// has it at a time, in any process.
    std::string positions;
    /// End when all that is there was read, or when something cannot be written.
    bool isOnce = false;
    /// Leave spool files that were read to their end and whose process is gone. They are removed
    /// otherwise, as soon as the log is on the disk.
    bool isKeeping = false;
    Situations situations;
    /// Is told what is amiss, where, and what becomes of it: a log that cannot be written, files
    /// that are not read. On the thread of run(), without a lock. The text is its until it returns;
    /// what would be obeyed by a terminal is a question mark. Exceptions are caught.
    std::function<void(const char* what)> tell;
};

enum class CollectEnd {
    Good,   ///< It was stopped, or all was read.
    Amiss,  ///< Likewise, and something was left out, or could not be read or written for a while.
    Failed, ///< why() tells. What is not in the log is still in the spools.
};

/// May be used again when run() has returned, unless it was stopped.
class ZMU_COLLECT_API LogCollector {
  public:
    LogCollector() noexcept;
    /// No thread may be in run() or stop() any more.
    ~LogCollector();
    LogCollector(const LogCollector&) = delete;
    LogCollector& operator=(const LogCollector&) = delete;

    /// Writes what is in the spools, and what comes, into the log of `monitor`, which owns one and
    /// outlives this call, until stop(). Returns with the log and the positions on the disk, unless
    /// it failed. Begins by reading the logs back that the last run may have written to.
    ///
    /// Any threads may report to the monitor meanwhile, and have its log replaced. A log that
    /// cannot be written is tried again each second, and begun anew if it is closed, while the
    /// spools wait; codes that monitor and data set hold then are forgotten. Of the log's lock
    /// nothing is held between two entries.
    ///
    /// New lines are found at once on a thread with an event loop of Qt's, which is run meanwhile;
    /// on any other within a second. The thread is not to be cancelled.
    CollectEnd run(Zarn* monitor, const CollectOptions& options) noexcept;
    /// Ends run() within about a second, or at its beginning: for good. Any thread may call it, at
    /// any time, also more than once; a signal handler may not.
    void stop() noexcept;
    /// Why the last run() has failed: what, where, what to do. Empty if it has not. For the thread
    /// that called it; good until the next.
    const char* why() const noexcept { return m_why; }

  private:
    class Running;

    Mutex m_lock; ///< Of the next three.
    Collector* m_collector = nullptr;
    bool m_isRunning = false;
    bool m_isStopped = false;
    char m_why[1024] = {};
};

} // namespace zmu_collect
