// What else could write an entry: bare system calls, and another log library.
#include "Log.h"
#include "Measure.h"
#include "Platform.h"
#include "Situation.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <QByteArray>

namespace zmu_bench {

namespace {

QByteArray utf16(const QString& text)
{
    return {reinterpret_cast<const char*>(text.utf16()), text.size() * 2};
}

void measurePlainWrites(benchmark::State& state, Medium medium)
{
    const QByteArray body = utf16(sectionsOfLoggedSituation().body);
    const QByteArray tail = utf16(sectionsOfLoggedSituation().tail);
    const Folder folder(medium);
    const PlainFile file(folder.path("plain.html"));
    qint64 tailPosition = 0;
    measure(state, [&] {
        const bool isWritten = file.writeAt(tailPosition, body);
        tailPosition += body.size();
        if (!isWritten || !file.writeAt(tailPosition, tail))
            state.SkipWithError("the file was not written");
    });
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
    registerOnMedia("plain writes", measurePlainWrites);
    registerOnMedia("spdlog", measureSpdlog);
}

} // namespace zmu_bench
