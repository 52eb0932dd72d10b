#include "../System.h"
#include "../Processes.h"
#include "../Traces.h"

#include <QFile>

#include <cstdlib>
#include <pwd.h>
#include <sys/wait.h>
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

bool runsUnderWine()
{
    return false;
}

ProcessEnd runInChild(const std::function<int()>& body)
{
    ProcessEnd end;
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    int status = 0;
    end.isNormal = child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status);
    end.status = end.isNormal ? WEXITSTATUS(status) : -1;
    return end;
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
