#include "HostCollectors.h"

#include "ServedPositions.h"

#include <tools/Text.h>
#include <tools/platform/Stop.h>

#include <QDir>
#include <QFile>
#include <QProcess>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <utility>

namespace zmu_tools::collect {

namespace {

/// Hosts at a time that are asked about. Whoever may write into the stream could name any.
constexpr std::size_t questionsMax = 100;
constexpr int endPatience = 20000; // milliseconds

using Clock = std::chrono::steady_clock;
/// A collector that ended for a reason that may last, which it tells each time, is started again
/// after a pause, which is twice as long each time.
constexpr std::chrono::seconds shortestPause{5}, longestPause{60};

QStringList argumentsFor(const ServedOptions& options, const std::string& host,
                         const QString& folder)
{
    const ship::ServerOptions& server = options.server;
    QStringList line = {"collect", "--log-dir", folder, "--host", QString::fromStdString(host),
                        "--child"};
    const auto add = [&line](const char* name, const std::string& value) {
        if (!value.empty())
            line << name << QString::fromStdString(value);
    };
    for (const std::string& url : server.urls)
        add("--server", url);
    add("--ca", server.authorities);
    add("--cert", server.certificate);
    add("--key", server.key);
    add("--user-file", server.user);
    add("--token-file", server.token);
    add("--creds", server.credentials);
    add("--stream", server.stream.name);
    add("--subject", server.stream.subject);
    if (server.stream.replicas != 0)
        add("--replicas", std::to_string(server.stream.replicas));
    add("--max-age", std::to_string(server.stream.age) + 's');
    add("--max-bytes", std::to_string(server.stream.bytes));
    add("--name", options.group.name);
    for (const std::string& id : options.group.takeOver)
        add("--take-over", id);
    add("--form", options.form);
    add("--log-size", std::to_string(options.logSize));
    add("--idle", std::to_string(options.idle));
    return line;
}

class HostCollectors {
  public:
    explicit HostCollectors(const ServedOptions& options) : m_options(options) {}

    ~HostCollectors()
    {
        for (const auto& [host, process] : m_processes)
            process->closeWriteChannel();
        for (const auto& [host, process] : m_processes) {
            if (process->state() != QProcess::NotRunning && !process->waitForFinished(endPatience))
                process->kill();
        }
    }

    /// Starts collectors for hosts of which something is new, and notes those that have ended.
    void see(const std::set<std::string>& hosts, const ship::LastOf& lastOf)
    {
        for (auto each = m_processes.begin(); each != m_processes.end();) {
            const auto& [host, process] = *each;
            process->waitForFinished(0);
            if (process->state() != QProcess::NotRunning) {
                ++each;
                continue;
            }
            m_collected[host] = collectedOf(host);
            noteEnd(host, *process);
            each = m_processes.erase(each);
        }
        const auto isGone = [&hosts](const auto& each) { return !hosts.contains(each.first); };
        std::erase_if(m_collected, isGone);
        std::erase_if(m_pauses, isGone);
        std::size_t questionsQty = 0;
        auto next = hosts.lower_bound(m_next);
        for (std::size_t i = 0; i < hosts.size() && questionsQty < questionsMax; ++i) {
            if (next == hosts.end())
                next = hosts.begin();
            const std::string& host = *next++;
            if (m_processes.contains(host) || isPausing(host) ||
                !isAnythingNew(host, lastOf, questionsQty))
                continue;
            if (m_processes.size() >= m_options.placesQty) {
                tellFull();
                m_next = host; // the next place is its own
                return;
            }
            start(host);
        }
        m_next = next == hosts.end() ? std::string() : *next;
    }

  private:
    std::string folderOf(const std::string& host) const { return m_options.logFolder + '/' + host; }

    struct Pause {
        std::chrono::seconds length{};
        Clock::time_point end;
    };

    void noteEnd(const std::string& host, const QProcess& process)
    {
        const bool hasFailed =
            process.exitStatus() != QProcess::NormalExit ||
            (process.exitCode() != int(Exit::Good) && process.exitCode() != int(Exit::Findings));
        if (!hasFailed) {
            m_pauses.erase(host);
            return;
        }
        Pause& pause = m_pauses[host];
        const Clock::time_point present = Clock::now();
        const bool wasAtWork = present - pause.end > longestPause;
        pause.length = wasAtWork ? shortestPause : std::min(pause.length * 2, longestPause);
        pause.end = present + pause.length;
    }

    bool isPausing(const std::string& host) const
    {
        const auto found = m_pauses.find(host);
        return found != m_pauses.end() && Clock::now() < found->second.end;
    }

    /// When the last message of a host that is in its log came into the stream; 0 for none. No
    /// collector has the folder just then.
    zmu::i64 collectedOf(const std::string& host) const
    {
        const std::string path = folderOf(host) + '/' + positionsName;
        if (!QFile::exists(QString::fromStdString(path)))
            return 0;
        try {
            return ServedPositions(path, 0).bookmark().time;
        } catch (const std::runtime_error&) {
            return 0; // the collector itself tells
        }
    }

    /// Whether a host that has no collector needs one. Places in the stream do not tell: servers
    /// may differ in them.
    bool isAnythingNew(const std::string& host, const ship::LastOf& lastOf,
                       std::size_t& questionsQty)
    {
        auto known = m_collected.find(host);
        if (known == m_collected.end()) {
            // Among what was passed over there may be something to take over.
            const bool isTakingOver = !m_options.group.takeOver.empty();
            known = m_collected.emplace(host, isTakingOver ? 0 : collectedOf(host)).first;
        }
        if (known->second == 0)
            return true;
        ++questionsQty;
        const zmu::i64 last = lastOf(host);
        return last != 0 && last != known->second;
    }

    void tellFull()
    {
        if (!std::exchange(m_isFullTold, true))
            std::fprintf(stderr,
                         "zmu: warning: logs are kept of %zu hosts at a time; what others send "
                         "stays with the servers until one of these has had nothing for %u "
                         "seconds\n",
                         m_options.placesQty, m_options.idle);
    }

    void start(const std::string& host)
    {
        const QString folder = QString::fromStdString(folderOf(host));
        if (!QDir().mkpath(folder)) {
            fail(host, folder.toStdString() + " cannot be made");
            return;
        }
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::ForwardedChannels);
        process->start(QString::fromStdString(ownProgram()), argumentsFor(m_options, host, folder));
        if (!process->waitForStarted()) {
            fail(host,
                 ownProgram() + " cannot be started: " + process->errorString().toStdString());
            return;
        }
        m_failed.erase(host);
        m_processes.emplace(host, std::move(process));
    }

    /// Told once, and tried again.
    void fail(const std::string& host, const std::string& why)
    {
        if (m_failed.insert(host).second)
            std::fprintf(stderr, "zmu: warning: %s; what comes from %s stays with the servers\n",
                         harmless(why).c_str(), host.c_str());
    }

    const ServedOptions& m_options;
    std::map<std::string, std::unique_ptr<QProcess>> m_processes; ///< By host.
    std::map<std::string, zmu::i64> m_collected; ///< As collectedOf() says, by host.
    std::map<std::string, Pause> m_pauses;       ///< Of those that have failed, by host.
    std::string m_next;                          ///< Host, of those whose turn it is first.
    std::set<std::string> m_failed;              ///< Hosts.
    bool m_isFullTold = false;
};

} // namespace

Exit collectByHost(const ServedOptions& options)
{
    HostCollectors collectors(options);
    ship::watchHosts(
        options.server,
        [&collectors](const std::set<std::string>& hosts, const ship::LastOf& lastOf) {
            collectors.see(hosts, lastOf);
        },
        [] { return !StopRequest::isMade(); });
    return Exit::Good;
}

} // namespace zmu_tools::collect
