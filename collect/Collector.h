// Brings what is in spools into a sink, once and in order.
#pragma once

#include "LogSink.h"
#include "Sink.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zmu_collect {

class ZMU_COLLECT_API Collector {
  public:
    struct Options {
        std::vector<std::string> spools; ///< Folders.
        std::string positions;  ///< The file that tells how far they were read; empty for none.
        bool isOnce = false;    ///< Read what is there, and end.
        bool isKeeping = false; ///< Remove no files, as without positions.
        /// Is told of what is amiss, for people: on the thread of run(), and of the constructor.
        std::function<void(const std::string& what)> tell;
    };

    /// `log` is `sink` if that is a log, else null. Both outlive this. Throws std::runtime_error
    /// for a folder or positions that cannot be used, and for a log that cannot be read back.
    Collector(Options options, Sink& sink, LogSink* log);
    ~Collector();
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    /// Reads all that is there, and what comes, until stop(). What cannot be written is tried again
    /// each second. Throws std::runtime_error where that is still so at the end.
    void run();
    /// Ends run(), the present or the next one. Any thread may call it.
    void stop();
    /// Whether anything was left out or could not be read.
    bool isAnythingAmiss() const;

  private:
    class Private;
    std::unique_ptr<Private> m_private;
};

} // namespace zmu_collect
