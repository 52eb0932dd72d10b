// What else could write an entry: bare system calls, and another log library.
#include "Log.h"
#include "Measure.h"
#include "Situation.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <QByteArray>

#include <fcntl.h>
#include <unistd.h>

namespace zmu_bench {

namespace {

QByteArray utf16(const QString& text)
{
    return {reinterpret_cast<const char*>(text.utf16()), text.size() * 2};
}

void measurePwrite(benchmark::State& state, Medium medium)
{
    const QByteArray body = utf16(sectionsOfLoggedSituation().body);
    const QByteArray tail = utf16(sectionsOfLoggedSituation().tail);
    const Folder folder(medium);
    const int file = open(qPrintable(folder.path("pwrite.html")), O_RDWR | O_CREAT | O_CLOEXEC,
                          S_IRUSR | S_IWUSR);
    off_t tailPosition = 0;
    measure(state, [&] {
        const ssize_t written =
            pwrite(file, body.constData(), static_cast<std::size_t>(body.size()), tailPosition);
        tailPosition += written;
        if (written != body.size() ||
            pwrite(file, tail.constData(), static_cast<std::size_t>(tail.size()), tailPosition) !=
                tail.size())
            state.SkipWithError("the file was not written");
    });
    close(file);
}

/// The text that a reader sees: no markup, and UTF-8.
void measureSpdlog(benchmark::State& state, Medium medium)
{
    const Folder folder(medium);
    spdlog::logger logger("bench", std::make_shared<spdlog::sinks::basic_file_sink_mt>(
                                       folder.path("spdlog.txt").toStdString()));
    logger.set_pattern("%Y-%m-%d %H:%M:%S.%e %v");
    logger.flush_on(spdlog::level::info);
    measure(state, [&] {
        logger.info("Session {} was started for the user {} by the scheduler.", sessionNumber,
                    "operator");
    });
}

} // namespace

void registerPeersBench()
{
    registerOnMedia("pwrite", measurePwrite);
    registerOnMedia("spdlog", measureSpdlog);
}

} // namespace zmu_bench
