// What happens around the program that shows windows.
#pragma once

#include <Processes.h>

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <vector>

#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

namespace zmu_test {

inline QByteArray fileOfProcess(pid_t process, const char* name)
{
    QFile file(QStringLiteral("/proc/%1/%2").arg(process).arg(QLatin1String(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Puts a mark into the environment, by which the programs that this test starts are known.
inline void markPrograms()
{
    setenv("ZMU_TEST_MARK", std::to_string(getpid()).c_str(), 1);
}

/// The programs with this test's mark that show a window.
inline std::vector<pid_t> windowPrograms()
{
    const QByteArray mark = QByteArray("ZMU_TEST_MARK=") + getenv("ZMU_TEST_MARK");
    std::vector<pid_t> found;
    for (const QString& name : QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs)) {
        const pid_t process = name.toInt();
        if (fileOfProcess(process, "cmdline").startsWith("zmu-window") &&
            fileOfProcess(process, "environ").contains(mark))
            found.push_back(process);
    }
    return found;
}

/// Whether all programs of this test have ended.
inline bool areProgramsGone()
{
    return becomesTrue([] { return windowPrograms().empty(); });
}

inline int descriptorsInUse()
{
    return static_cast<int>(QDir("/proc/self/fd").entryList(QDir::Files | QDir::System).size());
}

} // namespace zmu_test
