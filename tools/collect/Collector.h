// Brings what is in spools into a sink, once and in order.
#pragma once

#include "LogSink.h"
#include "Sink.h"

#include <spool/SpoolReader.h>

#include <chrono>
#include <string>
#include <vector>

namespace zmu_tools::collect {

class Collector {
  public:
    struct Options {
        bool isOnce = false;     ///< Read what is there, and end.
        bool isRemoving = false; ///< Remove files that have ended. Not with positions kept nowhere.
    };

    /// `log` is `sink` if that is a log, else null. All of them outlive this. Throws
    /// std::runtime_error for a folder that cannot be read, and for a log that cannot be read back.
    Collector(const std::vector<std::string>& spools, zmu_spool::Positions& positions, Sink& sink,
              LogSink* log, Options options);

    /// Reads all that is there, and what comes, until a request to stop. Throws std::runtime_error
    /// where the positions cannot be saved, and where the sink cannot be written at the end.
    void run();
    /// Ends a wait. Any thread may call it.
    void wake() { m_reader.wake(); }
    /// Whether anything was left out or could not be read.
    bool isAnythingAmiss() const { return m_isAmiss; }

  private:
    using Clock = std::chrono::steady_clock;

    void recover();
    bool drain();
    void handle(const zmu_spool::SpoolItem& item);
    void keep(const Report& report);
    bool isSaveDue();
    void save();
    void removeEnded();
    void tell(const std::string& what);

    zmu_spool::Positions& m_positions;
    zmu_spool::SpoolReader m_reader;
    Sink& m_sink;
    LogSink* const m_log;
    const Options m_options;
    bool m_isAmiss = false;

    zmu_spool::Mark m_mark;      ///< What is written; confirmed when another file's turn comes.
    zmu::i64 m_since = 0;        ///< Entries from before that time do not come again.
    std::string m_savedLog;      ///< The log that was written when the positions were saved.
    Clock::time_point m_saved;   ///< When that was.
    zmu::u64 m_unsavedQty = 0;   ///< Items since then,
    zmu::u64 m_unsavedBytes = 0; ///< and their bytes.
    std::vector<std::shared_ptr<const zmu_spool::SpoolFile>> m_ended; ///< To be removed.
};

} // namespace zmu_tools::collect
