#include "ServedCollect.h"

#include "HostCollectors.h"
#include "OwnLog.h"
#include "ServedPositions.h"

#include <tools/Text.h>
#include <tools/platform/Stop.h>

#include <QDateTime>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace zmu_tools::collect {

using zmu_collect::Report;

namespace {

constexpr unsigned long retryInterval = 1000; // milliseconds
/// For which the last number of a process is known: longer than anything of it may come again.
constexpr zmu::i64 day = 86400; // seconds
constexpr zmu::i64 memoryLeast = 7 * day;

void tell(const std::string& what)
{
    std::fprintf(stderr, "zmu: warning: %s\n", harmless(what).c_str());
}

class LogDestination : public ship::Destination {
  public:
    explicit LogDestination(const ServedOptions& options)
        : m_positions(options.positions.empty() ? options.logFolder + '/' + positionsName
                                                : options.positions,
                      std::max(memoryLeast, options.server.stream.age + day)),
          m_log(options.logFolder, options.form, options.logSize), m_sink(m_log)
    {
        const zmu::i64 present = QDateTime::currentMSecsSinceEpoch();
        m_since = m_positions.since() ? m_positions.since() : present;
        m_sink.recover(
            m_since, m_positions.logs(), [this](std::string_view source, zmu::u64 sequence) {
                return sequence >= m_positions.lastOf(QByteArray::fromPercentEncoding(
                                                          {source.data(), qsizetype(source.size())})
                                                          .toStdString());
            });
        save(m_positions.bookmark()); // older than any entry, and with the id
    }

    std::string id() override { return m_positions.id(); }
    ship::Bookmark bookmark() override { return m_positions.bookmark(); }
    zmu::u64 lastOf(const std::string& source) override { return m_positions.lastOf(source); }

    void take(const ship::ServedLine& line) override
    {
        Report report;
        report.source = line.source;
        report.owner = line.owner;
        report.line = &line.line;
        if (line.missing != 0) {
            m_isAnyLeftOut = true;
            report.kind = Report::Kind::Missing;
            report.sequence = line.line.sequence - line.missing;
            report.last = line.line.sequence - 1;
            report.mayHaveBeenRead = line.mayHaveBeenRead;
            keep(report);
            report.kind = Report::Kind::Situation;
        }
        report.sequence = line.line.sequence;
        keep(report);
        m_positions.setLast(line.source, line.line.sequence);
    }

    void leaveOut(const ship::LeftOut& leftOut) override
    {
        m_isAnyLeftOut = true;
        Report report;
        report.kind = Report::Kind::PassedOver;
        report.source = "stream";
        report.sequence = leftOut.place;
        report.place = leftOut.where;
        report.what = leftOut.what;
        report.sample = leftOut.sample;
        keep(report);
    }

    void save(const ship::Bookmark& bookmark, bool isAllTaken) override
    {
        if (isAllTaken)
            m_sink.endRecovery();
        if (!m_isChanged && bookmark.place == m_positions.bookmark().place)
            return;
        const zmu::i64 present = QDateTime::currentMSecsSinceEpoch();
        if (!m_sink.sync())
            throw std::runtime_error(m_sink.why());
        m_since = m_sink.isRecovering() ? m_since : present;
        save(bookmark);
        m_isChanged = false;
    }

    bool isAnyLeftOut() const { return m_isAnyLeftOut; }

  private:
    void save(const ship::Bookmark& bookmark) { m_positions.save(bookmark, m_since); }

    /// Keeps which log it is, so that it is read back whatever the clocks say.
    void noteLog()
    {
        constexpr std::size_t logsMax = 16;
        if (!m_positions.logs().empty() && m_positions.logs().back() == m_sink.log())
            return;
        std::vector<std::string> logs = m_positions.logs();
        // The last entry may be at the end of the log before. What is known from still older ones
        // is needed as long as it comes again.
        const std::size_t keptQty = m_sink.isRecovering() ? logsMax : 1;
        if (logs.size() > keptQty)
            logs.erase(logs.begin(), logs.end() - static_cast<std::ptrdiff_t>(keptQty));
        logs.push_back(m_sink.log());
        m_positions.setLogs(std::move(logs));
        if (!m_sink.sync())
            throw std::runtime_error(m_sink.why());
        save(m_positions.bookmark());
    }

    /// As soon as that is possible.
    void keep(const Report& report)
    {
        m_isChanged = true;
        for (bool isTold = false; !m_sink.write(report); isTold = true) {
            if (!isTold)
                tell(m_sink.why() + "; it is tried again each second");
            if (StopRequest::isMade())
                throw std::runtime_error(m_sink.why() + "; the rest stays with the servers");
            QThread::msleep(retryInterval);
        }
        if (!m_sink.log().empty())
            noteLog();
    }

    ServedPositions m_positions;
    OwnLog m_log;
    zmu_collect::LogSink m_sink;
    zmu::i64 m_since = 0;
    bool m_isChanged = false;
    bool m_isAnyLeftOut = false;
};

} // namespace

Exit collectServed(const ServedOptions& options)
{
    if (!ship::isClientThere())
        return Exit::Usage;
    const StopRequest stop([] {});
    if (options.isByHost) {
        if (options.isOnce || !options.positions.empty()) {
            std::fputs("zmu: --by host goes with neither --once nor --positions: it goes on until "
                       "it is ended, and has positions in the folder of each host\n",
                       stderr);
            return Exit::Usage;
        }
        return collectByHost(options);
    }
    static std::atomic<bool> isOrphan = false;
    if (options.isChild)
        std::thread([] {
            while (std::fgetc(stdin) != EOF) {
            }
            isOrphan = true;
        }).detach();
    LogDestination destination(options);
    std::optional<std::chrono::seconds> patience;
    if (options.isOnce || options.isChild)
        patience.emplace(options.isOnce ? 0 : options.idle);
    ship::collectFromServers(options.server, options.group, destination, patience,
                             [] { return !StopRequest::isMade() && !isOrphan; });
    return options.isOnce && destination.isAnyLeftOut() ? Exit::Findings : Exit::Good;
}

} // namespace zmu_tools::collect
