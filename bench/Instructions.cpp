#include "Instructions.h"

#include "Measure.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdlib>
#include <cstring>

namespace zmu_bench {

namespace {

constexpr char option[] = "--situations=";

/// Instructions of a whole run of `count` situations.
std::optional<double> countRun(const char* program, const char* road, int count)
{
    const QTemporaryDir folder;
    const QString result = folder.filePath("callgrind.out");
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start("valgrind", {"--tool=callgrind", "--callgrind-out-file=" + result, program,
                               QString("%1%2:%3").arg(option, road).arg(count)});
    constexpr int forEver = -1;
    if (!process.waitForFinished(forEver) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        return std::nullopt;
    QFile file(result);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    constexpr char summary[] = "summary: ";
    while (!file.atEnd()) {
        const QByteArray line = file.readLine();
        if (line.startsWith(summary))
            return line.mid(std::strlen(summary)).trimmed().toDouble();
    }
    return std::nullopt;
}

} // namespace

std::optional<double> countInstructions(const char* program, const char* road)
{
    constexpr int few = 500; // all that is done the first time is done
    constexpr int many = 2500;
    const std::optional<double> fewer = countRun(program, road, few);
    const std::optional<double> more = fewer ? countRun(program, road, many) : std::nullopt;
    if (!more)
        return std::nullopt;
    return (*more - *fewer) / (many - few);
}

bool isCountedRun(int argc, char** argv, int& status)
{
    if (argc != 2 || std::strncmp(argv[1], option, std::strlen(option)) != 0)
        return false;
    const std::string text = argv[1] + std::strlen(option);
    const std::size_t colon = text.find(':');
    const int count = colon == text.npos ? 0 : std::atoi(text.c_str() + colon + 1);
    status = reportOn(text.substr(0, colon), count) ? 0 : 1;
    return true;
}

} // namespace zmu_bench
