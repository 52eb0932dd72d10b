#include "HostCollectors.h"

#include <tools/Text.h>
#include <tools/platform/Stop.h>

#include <QDir>
#include <QProcess>

#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace zmu_tools::collect {

namespace {

/// More hosts than that are told, and wait. Whoever may write into the stream could name any.
constexpr std::size_t hostsMax = 256;
constexpr int endPatience = 20000; // milliseconds

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

    void see(const std::string& host)
    {
        auto found = m_processes.find(host);
        if (found == m_processes.end()) {
            if (m_processes.size() == hostsMax) {
                if (!std::exchange(m_isFullTold, true))
                    std::fprintf(stderr,
                                 "zmu: warning: logs are kept of %zu hosts; what others send "
                                 "stays with the servers\n",
                                 hostsMax);
                return;
            }
            found = m_processes.emplace(host, std::make_unique<QProcess>()).first;
        }
        QProcess& process = *found->second;
        process.waitForFinished(0); // notes one that has ended
        if (process.state() != QProcess::NotRunning)
            return;
        const QString folder = QString::fromStdString(m_options.logFolder + '/' + host);
        if (!QDir().mkpath(folder)) {
            fail(host, folder.toStdString() + " cannot be made");
            return;
        }
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(QString::fromStdString(ownProgram()), argumentsFor(m_options, host, folder));
        if (process.waitForStarted())
            m_failed.erase(host);
        else
            fail(host, ownProgram() + " cannot be started: " + process.errorString().toStdString());
    }

  private:
    /// Told once, and tried again.
    void fail(const std::string& host, const std::string& why)
    {
        if (m_failed.insert(host).second)
            std::fprintf(stderr, "zmu: warning: %s; what comes from %s stays with the servers\n",
                         harmless(why).c_str(), host.c_str());
    }

    const ServedOptions& m_options;
    std::map<std::string, std::unique_ptr<QProcess>> m_processes;
    std::set<std::string> m_failed; ///< Hosts.
    bool m_isFullTold = false;
};

} // namespace

Exit collectByHost(const ServedOptions& options)
{
    HostCollectors collectors(options);
    ship::watchHosts(
        options.server, [&collectors](const std::string& host) { collectors.see(host); },
        [] { return !StopRequest::isMade(); });
    return Exit::Good;
}

} // namespace zmu_tools::collect
