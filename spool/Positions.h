// How far spool files were read, kept from one run of a reader to the next.
//
//     Positions positions("/var/lib/zmu/collect.positions");
//     SpoolReader reader({"/var/spool/zmu"}, positions);
//     ...                                      // see SpoolReader.h
//     positions.confirm(item.mark);            // what is safe: written, or acknowledged
//     positions.save();                        // from here on it is not read again
//
// The file is replaced whole, so that it can be read after a kill at any moment. One process uses
// it at a time. It belongs to one reader: two that read the same spools have one each.
//
// Threads: none but the one that made it.
#pragma once

#include <spool/SpoolFiles.h>

#include <memory>
#include <string>
#include <unordered_map>

namespace zmu_spool {

/// A spool file, as it is named and as its system tells.
struct SpoolFile {
    std::string folder; ///< Absolute.
    std::string name;   ///< In the folder.
    std::string user;   ///< Who alone could have written it, as SpoolHandle::user() tells.
    /// "USER/HOST_PROGRAM_PROCESS_START": what all files of one process have in common, and no
    /// other user's files.
    std::string source;
    zmu::u64 process = 0;
    zmu::i64 start = 0;  ///< Of the process, in nanoseconds since 1970 UTC.
    zmu::u64 number = 0; ///< From 1 on, among the files of the process.

    std::string path() const;
};

/// A place between two lines of a file, or at its end.
struct Mark {
    std::shared_ptr<const SpoolFile> file;
    zmu::u64 position = 0; ///< In bytes: all before is done.
    zmu::u64 sequence = 0; ///< The last of the process's numbers up to there; 0 for none.
};

class Positions {
  public:
    /// Reads the file, if there is one. Locks it by way of a file with ".lock" behind its name,
    /// which stays. Without a path they are kept nowhere: save() does nothing. Throws
    /// std::runtime_error, with the path and what to do, if another process has it, if it cannot be
    /// read or written, and if it is damaged.
    explicit Positions(std::string path = {});
    ~Positions();
    Positions(const Positions&) = delete;
    Positions& operator=(const Positions&) = delete;

    const std::string& path() const { return m_path; }
    /// Whether there was a file.
    bool isKept() const { return m_isKept; }

    /// Where to go on with a file: behind what was confirmed, 0 for one that is not known.
    zmu::u64 positionOf(const SpoolFile& file) const;
    /// The last number that was confirmed of the process whose file it is; 0 for none.
    zmu::u64 sequenceOf(const SpoolFile& file) const;

    /// All of the file before the mark is done. Marks of one file come in their order.
    void confirm(const Mark& mark);
    /// The file is not there any more. What is known of its process stays for an hour, since
    /// another file of it may come.
    void forget(const SpoolFile& file);

    /// A text of the owner's, kept in the file: whatever belongs to the positions, such as the log
    /// that was written last.
    const std::string& note() const { return m_note; }
    void setNote(std::string note);

    /// Whether anything has changed since the last save.
    bool isChanged() const { return m_isChanged; }
    /// Writes the file, and brings it to the disk. Throws std::runtime_error if that fails: the old
    /// one is still there, then, and nothing of what is in memory is lost.
    void save();

  private:
    struct Entry {
        zmu::u64 value = 0;
        zmu::i64 time = 0; ///< Seconds since 1970: when it was last of use.
    };
    using Entries = std::unordered_map<std::string, Entry>;

    void read(const std::string& text);
    void prune();
    [[noreturn]] void fail(const std::string& what) const;

    std::string m_path;
    SystemFile m_lock = noSystemFile;
    bool m_isKept = false;
    bool m_isChanged = false;
    std::string m_note;
    Entries m_files;   ///< Positions by path.
    Entries m_sources; ///< Numbers by source.
};

} // namespace zmu_spool
