#include <zmu/collect/LogCollector.h>

#include "Collector.h"
#include "LogSink.h"

#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/Zarn.h>

#include <QFileInfo>
#include <QString>

#include <cstdio>
#include <new>
#include <stdexcept>

using namespace zmu_collect;

namespace {

/// The log of somebody else's monitor.
class GivenLog : public LogOwner {
  public:
    explicit GivenLog(Zarn& monitor) : m_monitor(monitor)
    {
        wchar_t path[pathMax];
        if (!findLog(path)) {
            beginAnother();
            if (m_code == zmu::dx::ReestablishNotNative)
                throw std::runtime_error("the monitor owns no log: what it is told goes to a "
                                         "proxy. Give a monitor whose "
                                         "owner runs standalone");
            if (!findLog(path))
                throw std::runtime_error("the monitor's log is closed, and none can be begun (WDX" +
                                         std::to_string(m_code) +
                                         "): see that there is room in its folder, and try again");
        }
        m_folder = QFileInfo(QString::fromWCharArray(path)).absolutePath().toStdString();
    }

    std::string folder() override { return m_folder; }
    Zarn* monitor(std::string& /*why*/) override { return &m_monitor; }
    void beginAnother() override
    {
        m_monitor.reestablishLogFile(false);
        m_code = m_monitor.getSelfDX_Code();
        m_monitor.forgetSelfDX_Code();
    }

  private:
    static constexpr std::size_t pathMax = 1024;

    bool findLog(wchar_t (&path)[pathMax])
    {
        if (m_monitor.getFileLogName(path, pathMax))
            return true;
        m_monitor.forgetSelfDX_Code();
        return false;
    }

    Zarn& m_monitor;
    std::string m_folder;
    int m_code = 0; ///< Of the last try to begin a log.
};

/// What a terminal would obey is none of a message's.
std::string harmless(std::string text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if (byte < 0x20 || byte == 0x7F)
            text[i] = '?';
        else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) // a control of two bytes
            text.replace(i, 2, "?");
    }
    return text;
}

} // namespace

/// Makes a collector known to stop() while it lives.
class LogCollector::Running {
  public:
    Running(LogCollector& owner, Collector& collector) : m_owner(owner)
    {
        const Synchronized guard(m_owner.m_lock);
        m_owner.m_collector = &collector;
        if (m_owner.m_isStopped)
            collector.stop();
    }
    ~Running()
    {
        const Synchronized guard(m_owner.m_lock);
        m_owner.m_collector = nullptr;
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

  private:
    LogCollector& m_owner;
};

LogCollector::LogCollector() noexcept = default;

LogCollector::~LogCollector() = default;

CollectEnd LogCollector::run(Zarn* monitor, const CollectOptions& options) noexcept
{
    {
        const Synchronized guard(m_lock);
        if (m_isRunning)
            return CollectEnd::Failed; // and whose reason is the other thread's to read
        m_isRunning = true;
    }
    m_why[0] = '\0';
    CollectEnd end = CollectEnd::Failed;
    try {
        if (!monitor)
            throw std::runtime_error("there is no monitor: see why its owner could make none");
        if (options.spools.empty() || options.positions.empty())
            throw std::runtime_error("folders of spools, and a file of positions, are to be named");
        GivenLog log(*monitor);
        LogSink sink(log, options.situations);
        Collector collector({.spools = options.spools,
                             .positions = options.positions,
                             .isOnce = options.isOnce,
                             .isKeeping = options.isKeeping,
                             .tell =
                                 [&options](const std::string& what) {
                                     try {
                                         if (options.tell)
                                             options.tell(harmless(what).c_str());
                                     } catch (...) {
                                         // the host's affair
                                     }
                                 }},
                            sink, &sink);
        const Running running(*this, collector);
        collector.run();
        end = collector.isAnythingAmiss() ? CollectEnd::Amiss : CollectEnd::Good;
    } catch (const std::bad_alloc&) {
        std::snprintf(m_why, sizeof m_why, "there is not enough memory: run it again");
    } catch (const std::exception& error) {
        std::snprintf(m_why, sizeof m_why, "%s", error.what());
    } catch (...) {
        std::snprintf(m_why, sizeof m_why, "an unknown exception ended it");
    }
    const Synchronized guard(m_lock);
    m_isRunning = false;
    return end;
}

void LogCollector::stop() noexcept
{
    const Synchronized guard(m_lock);
    m_isStopped = true;
    if (m_collector)
        m_collector->stop();
}
