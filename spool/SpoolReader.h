// Reads what processes have written into their spool files, in the order of each process, and
// follows what is added.
//
//     Positions positions("collect.positions");
//     SpoolReader reader({"/var/spool/zmu"}, positions);   // best with a QCoreApplication
//     SpoolItem item;
//     for (;;) {
//         while (reader.next(item)) {
//             switch (item.kind) {
//             case SpoolItem::Kind::Line:      // item.line, item.raw; item.missing before it
//             case SpoolItem::Kind::Fault:     // passed over: item.raw, item.what
//             case SpoolItem::Kind::Torn:      // likewise
//                 ... keep it, then, or later: positions.confirm(item.mark);
//             case SpoolItem::Kind::Ended:     // nothing more will come
//                 ... positions.save(); reader.remove(*item.mark.file);
//             case SpoolItem::Kind::Trouble:   // item.what, for people
//             }
//         }
//         positions.save();
//         reader.wait(-1);
//     }
//
// What holds:
// - Each line of a file is given once by a reader, in the order of its process's numbers: a file
//   comes behind the earlier ones of its process. Different processes take turns.
// - A reader begins with a file where the positions have it confirmed. So what was given and not
//   confirmed when a process was killed is given again by the next: the same lines in the same
//   order for each file. Lines that are none may be told in other groups.
// - Only what is asked for is read: memory is a piece of a file of 256 KiB, or one line of up to
//   16 MiB, and up to 3 KiB for each file that waits, by the length of its name.
// - Files that rest are not opened: their sizes are looked at, and once a minute, or when no
//   process has their number, whether they have a writer.
// - A file is taken only if it is one, has a name that spool files have (see SpoolWriter.h), and
//   can have been written, or given that name, by nobody but its owner and the system's
//   administrators. What is not taken is told as a trouble, once, and looked at again later.
//
// Threads: all calls are of the thread that made the reader, but for wake().
#pragma once

#include <spool/Positions.h>
#include <spool/SpoolLine.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zmu_spool {

/// What a reader gives. Its views and `line` are good until the next call of next().
struct SpoolItem {
    enum class Kind {
        Line,  ///< A situation.
        Fault, ///< One or more lines that are none: not readable, of another process than the file,
               ///< or with a number that is not above the one before.
        Torn,  ///< What was left of a last line when the process ended. The file is at its end.
        Ended, ///< The file was read to its end, and nobody writes it any more.
        Trouble, ///< A file or folder that cannot be used, or was lost. Nothing to confirm: no
                 ///< mark.
    };
    Kind kind = Kind::Line;
    /// Behind the item. Its file is null for a trouble.
    Mark mark;
    zmu::u64 begin = 0; ///< Where the item begins in its file, in bytes.
    /// Line: its bytes, without the line feed. Fault, Torn: those of the first line, 1024 at most.
    std::string_view raw;
    const SpoolLine* line = nullptr; ///< Line: what it says. Null otherwise.
    /// Line: how many numbers are missing before this one's. Situations that were refused, as their
    /// host was told, or lost.
    zmu::u64 missing = 0;
    /// Line: nothing is known of the process, and it is not the first of its files. So what is
    /// missing may have been read by an earlier reader.
    bool mayHaveBeenRead = false;
    zmu::u64 linesQty = 1; ///< Fault: how many lines.
    std::string what;      ///< Fault, Torn, Trouble: what is wrong, for people.
};

class SpoolReader {
  public:
    struct Options {
        /// Milliseconds after which all is looked at again, in case that an event was lost. Windows
        /// has none for what is added to a file that stays open.
        int sweep = 3000;
        /// Files that are known at a time and have not ended. More are told as a trouble, and come
        /// later.
        std::size_t filesMax = 8192;
    };

    /// Throws std::runtime_error for a folder that cannot be listed. `positions` outlive it.
    /// Without an application, or on a thread that has no event loop, changes are found by looking
    /// at all files once a second.
    SpoolReader(const std::vector<std::string>& folders, Positions& positions);
    SpoolReader(const std::vector<std::string>& folders, Positions& positions, Options options);
    ~SpoolReader();
    SpoolReader(const SpoolReader&) = delete;
    SpoolReader& operator=(const SpoolReader&) = delete;

    /// Gives the next item. False if there is nothing more for now.
    bool next(SpoolItem& item);

    /// Waits until there may be more, until wake(), or for so many milliseconds, -1 for any time.
    /// Runs the thread's events meanwhile.
    void wait(int milliseconds);
    /// Ends a wait, the present or the next one. Any thread may call it; a signal handler may not.
    void wake();

    /// Removes a file that has ended and was confirmed to its end, and forgets its position. Save
    /// the positions first: a file that is gone cannot be read again. False, with `why`, if it is
    /// not removed: it has grown after all, or the system refuses. One that somebody else has
    /// removed is removed.
    bool remove(const SpoolFile& file, std::string& why);

    /// The processes, as "HOST_PROGRAM_PROCESS_START", that have a file which is not taken, or read
    /// no further, and may be when that is mended.
    std::vector<std::string> heldBack() const;

  private:
    class Private;
    std::unique_ptr<Private> m_private;
};

/// The files that a reader has ended with, and that are to be removed. What fails is tried again:
/// somebody may have the file just now.
class Removals {
  public:
    /// The reader outlives it. Retries are so far apart at least.
    explicit Removals(SpoolReader& reader,
                      std::chrono::milliseconds interval = std::chrono::seconds(3))
        : m_reader(reader), m_interval(interval)
    {}

    void add(std::shared_ptr<const SpoolFile> file);
    /// Removes those that were added, and at times those that were not removed then. Call it after
    /// the positions were saved, and each time that the reader has no more. `tell` is told of each
    /// file that fails, once, for people.
    void attempt(const std::function<void(const std::string& why)>& tell);

  private:
    SpoolReader& m_reader;
    const std::chrono::milliseconds m_interval;
    std::vector<std::shared_ptr<const SpoolFile>> m_fresh;
    std::vector<std::shared_ptr<const SpoolFile>> m_failed;
    std::chrono::steady_clock::time_point m_nextTry;
};

/// What a spool file's name tells; false for any other name. Leaves `folder` and `user`.
bool parseSpoolName(std::string_view name, SpoolFile& file);

} // namespace zmu_spool
