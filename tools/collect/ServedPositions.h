// How far what comes from servers was collected, kept from one run of a collector to the next.
//
// The file is replaced whole. Lines for the collector, its log and the stream, then one for each
// process that was heard of lately.
#pragma once

#include <spool/SpoolFiles.h>
#include <tools/ship/Bookmark.h>

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zmu_tools::collect {

/// The usual name of the file, in the log folder.
inline constexpr char positionsName[] = "served.positions";

class ServedPositions {
  public:
    /// Reads the file, if there is one, and locks it. Throws std::runtime_error if another process
    /// has it, if it cannot be read, and if it is damaged. Of processes that were not heard of for
    /// `memory` seconds nothing is kept.
    ServedPositions(std::string path, zmu::i64 memory);
    ~ServedPositions();
    ServedPositions(const ServedPositions&) = delete;
    ServedPositions& operator=(const ServedPositions&) = delete;

    /// By which this collector is known, whatever happens to its process.
    const std::string& id() const { return m_id; }
    const ship::Bookmark& bookmark() const { return m_bookmark; }
    zmu::u64 lastOf(const std::string& source) const;
    /// Since when entries may be in the logs that the positions do not tell of, in milliseconds
    /// since 1970 UTC; 0 in the first run.
    zmu::i64 since() const { return m_since; }
    /// The paths of the logs that were written last.
    const std::vector<std::string>& logs() const { return m_logs; }

    void setLogs(std::vector<std::string> paths) { m_logs = std::move(paths); }
    void setLast(const std::string& source, zmu::u64 sequence);
    /// Throws std::runtime_error if the file cannot be written.
    void save(const ship::Bookmark& bookmark, zmu::i64 since);

  private:
    struct Last {
        zmu::u64 sequence = 0;
        zmu::i64 time = 0; ///< Seconds since 1970 UTC.
    };

    void read(std::string_view text);
    [[noreturn]] void refuse(const std::string& why) const;
    void forgetOld();

    const std::string m_path;
    const zmu::i64 m_memory;
    zmu_spool::SystemFile m_lock = zmu_spool::noSystemFile;
    std::string m_id;
    std::vector<std::string> m_logs;
    ship::Bookmark m_bookmark;
    zmu::i64 m_since = 0;
    std::unordered_map<std::string, Last> m_sources;
};

} // namespace zmu_tools::collect
