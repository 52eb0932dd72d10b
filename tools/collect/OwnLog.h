// The log of a program that does nothing but collect: begun with its first entry, and begun anew
// where it was closed. A process has one at a time.
#pragma once

#include <collect/LogSink.h>
#include <zmu/monitor/Trace.h>

#include <string>

namespace zmu_tools::collect {

/// The library's traces of its thread come as usual, but for those of a form that nobody has named.
class OwnLog : public zmu_collect::LogOwner {
  public:
    static constexpr unsigned usualSize = 20U * 1024 * 1024;

    /// `form`: its file; empty for the one that the library finds. `size`: bytes at which a log is
    /// replaced. Throws std::runtime_error for a folder that is none.
    OwnLog(std::string folder, std::string form, unsigned size = usualSize);
    ~OwnLog() override;

    std::string folder() override { return m_folder; }
    Zarn* monitor(std::string& why) override;
    void beginAnother() override;

  private:
    class Owner;

    const std::string m_folder;
    const std::string m_form;
    ZarnTraceFunction m_usualTrace = nullptr;
    Zarn* m_monitor = nullptr;
    bool m_hasFailed = false; ///< At the last try.
};

} // namespace zmu_tools::collect
