// How far what comes from servers was collected, kept from one run of a collector to the next.
//
// The file is replaced whole. A line for the stream, then one for each process that was heard of
// within the last week.
#pragma once

#include <spool/SpoolFiles.h>

#include <string>
#include <unordered_map>

namespace zmu_tools::collect {

class ServedPositions {
  public:
    /// Reads the file, if there is one, and locks it. Throws std::runtime_error if another process
    /// has it, if it cannot be read, and if it is damaged.
    explicit ServedPositions(std::string path);
    ~ServedPositions();
    ServedPositions(const ServedPositions&) = delete;
    ServedPositions& operator=(const ServedPositions&) = delete;

    /// By which this collector is known, whatever happens to its process.
    const std::string& id() const { return m_id; }
    zmu::u64 place() const { return m_place; }
    zmu::u64 lastOf(const std::string& source) const;
    /// Since when entries may be in the logs that the positions do not tell of, in milliseconds
    /// since 1970 UTC; 0 in the first run.
    zmu::i64 since() const { return m_since; }

    void setLast(const std::string& source, zmu::u64 sequence);
    /// Throws std::runtime_error if the file cannot be written.
    void save(zmu::u64 place, zmu::i64 since);

  private:
    struct Last {
        zmu::u64 sequence = 0;
        zmu::i64 time = 0; ///< Seconds since 1970 UTC.
    };

    void read(const std::string& text);
    void forgetOld();

    const std::string m_path;
    zmu_spool::SystemFile m_lock = zmu_spool::noSystemFile;
    std::string m_id;
    zmu::u64 m_place = 0;
    zmu::i64 m_since = 0;
    std::unordered_map<std::string, Last> m_sources;
};

} // namespace zmu_tools::collect
