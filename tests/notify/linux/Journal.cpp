#include "Journal.h"

#include <Processes.h>
#include <linux/Mounts.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace zmu_test {

namespace {

bool writeFile(const char* path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

/// The daemon keeps its hands off the machine's own log, and everything that it is told.
constexpr const char* settings = R"([Journal]
Storage=volatile
Audit=no
ReadKMsg=no
ForwardToWall=no
RateLimitIntervalSec=0
)";

bool mountEmpty(const char* folder)
{
    return mount("none", folder, "tmpfs", MS_NOSUID | MS_NODEV, "mode=755") == 0;
}

/// A text, or an array of bytes for what is not printable.
QByteArray bytesOf(const QJsonValue& value)
{
    if (!value.isArray())
        return value.toString().toUtf8();
    QByteArray bytes;
    for (const QJsonValue byte : value.toArray())
        bytes += static_cast<char>(byte.toInt());
    return bytes;
}

} // namespace

Journal::Journal()
{
    m_obstacle = enterOwnMounts();
    if (m_obstacle.isEmpty() && !mountEmpty("/run"))
        m_obstacle = QString("no folder /run of its own: ") + std::strerror(errno);
    else if (m_obstacle.isEmpty() &&
             (!QDir("/run").mkpath("systemd/journald.conf.d") ||
              !writeFile("/run/systemd/journald.conf.d/test.conf", settings)))
        m_obstacle = "no settings for a journal";
}

Journal::~Journal()
{
    stop();
}

QString Journal::start()
{
    constexpr const char* program = "/lib/systemd/systemd-journald";
    if (!m_obstacle.isEmpty())
        return m_obstacle;
    if (access(program, X_OK) != 0)
        return "systemd is not installed";
    // It makes its sockets one by one and reads them only when all are there, this one last.
    constexpr const char* lastSocket = "/run/systemd/journal/io.systemd.journal";
    unlink(lastSocket);
    m_daemon = fork();
    if (m_daemon == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execl(program, program, nullptr);
        _exit(127);
    }
    if (!becomesTrue([] { return QFile::exists(lastSocket); }))
        return "systemd-journald does not start here";
    return {};
}

void Journal::stop()
{
    if (m_daemon < 0)
        return;
    kill(m_daemon, SIGKILL);
    waitpid(m_daemon, nullptr, 0);
    m_daemon = -1;
}

void Journal::halt() const
{
    kill(m_daemon, SIGSTOP);
}

void Journal::resume() const
{
    kill(m_daemon, SIGCONT);
}

QByteArray Journal::journalctl(const QStringList& arguments)
{
    QProcess process;
    process.start("journalctl", arguments);
    process.waitForFinished();
    return process.readAllStandardOutput();
}

std::vector<Journal::Entry> Journal::entries(const char* identifier, std::size_t count) const
{
    std::vector<Entry> found;
    becomesTrue([&] {
        found.clear();
        const QByteArray lines =
            journalctl({"-D", "/run/log/journal", "--all", "-o", "json", "-t", identifier});
        for (const QByteArray& line : lines.split('\n')) {
            const QJsonObject fields = QJsonDocument::fromJson(line).object();
            Entry entry;
            for (auto field = fields.begin(); field != fields.end(); ++field)
                entry[field.key()] = bytesOf(field.value());
            if (!entry.isEmpty())
                found.push_back(entry);
        }
        return found.size() >= count;
    });
    return found;
}

bool Journal::installCatalog(const QString& catalog)
{
    constexpr const char* source = "/usr/lib/systemd/catalog";
    return QDir(source).exists() && mountEmpty(source) &&
           QFile::copy(catalog, QString(source) + "/zmu.catalog") &&
           QDir("/var/lib/systemd/catalog").exists() && mountEmpty("/var/lib/systemd/catalog") &&
           QProcess::execute("journalctl", {"--update-catalog"}) == 0;
}

} // namespace zmu_test
