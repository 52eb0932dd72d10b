#include "../System.h"
#include "../Traces.h"
#include "Mounts.h"

#include <QFile>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <malloc.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>
#include <utility>

/// No test asks whoever sits at this machine; those that need a display bring one.
static const int withoutDisplay = unsetenv("DISPLAY") + unsetenv("WAYLAND_DISPLAY");

namespace zmu_test {

QString userName()
{
    const passwd* const user = getpwuid(geteuid());
    return user ? QString::fromLocal8Bit(user->pw_name) : QString();
}

bool isWindows()
{
    return false;
}

bool runsUnderWine()
{
    return false;
}

void enterTimeZone(const char* rule)
{
    qputenv("TZ", rule);
    tzset();
}

i64 heapBytes()
{
    return static_cast<i64>(mallinfo2().uordblks);
}

QString enterOwnMounts()
{
    const auto isWritten = [](const char* path, const QByteArray& bytes) {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    };
    const QByteArray user = QByteArray::number(geteuid());
    const QByteArray group = QByteArray::number(getegid());
    // Somebody who is not root may have mounts of his own as the root of his own users.
    const bool isApart =
        unshare(CLONE_NEWNS) == 0 ||
        (unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && isWritten("/proc/self/setgroups", "deny") &&
         isWritten("/proc/self/uid_map", "0 " + user + " 1") &&
         isWritten("/proc/self/gid_map", "0 " + group + " 1"));
    if (isApart && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0)
        return {};
    return QString("no mounts of its own: ") + std::strerror(errno);
}

Traces::Traces() : m_original(dup(STDERR_FILENO))
{
    char name[] = "/tmp/zmu-traces-XXXXXX";
    m_file = mkstemp(name);
    unlink(name);
    dup2(m_file, STDERR_FILENO);
}

Traces::~Traces()
{
    take();
}

QString Traces::take()
{
    if (m_original < 0)
        return {};
    dup2(m_original, STDERR_FILENO);
    close(std::exchange(m_original, -1));
    QFile file;
    QByteArray bytes;
    if (file.open(m_file, QIODevice::ReadOnly) && file.seek(0))
        bytes = file.readAll();
    close(std::exchange(m_file, -1));
    return QString::fromUtf8(bytes);
}

} // namespace zmu_test
