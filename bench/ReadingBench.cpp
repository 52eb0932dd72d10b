// A log of twenty MiB read back as JSON, as `zmu log --json` does.
#include "Log.h"
#include "Measure.h"
#include "Situation.h"

#include <tools/log/Logs.h>
#include <tools/log/Output.h>

#include <string>

namespace zmu_bench {

namespace {

constexpr qint64 logSize = 20 * 1024 * 1024;

/// A log of the shipped form.
class LargeLog {
  public:
    explicit LargeLog(Medium medium) : m_log(medium, QString(ZMU_BENCH_FORM).toStdWString().c_str())
    {
        constexpr int entriesBetweenLooks = 1000;
        while (m_log.size() < logSize) {
            for (int i = 0; i < entriesBetweenLooks; ++i)
                report(m_log.monitor(), LoggedSituation);
            m_entries += entriesBetweenLooks;
        }
    }

    QString file() const { return m_log.file(); }
    long entries() const { return m_entries; }

  private:
    Log m_log;
    long m_entries = 0;
};

const LargeLog& logOn(Medium medium)
{
    if (medium == Medium::Tmpfs) {
        static const LargeLog inMemory(medium);
        return inMemory;
    }
    static const LargeLog onDisk(medium);
    return onDisk;
}

void measureReading(benchmark::State& state, Medium medium)
{
    constexpr std::size_t outputSize = 1 << 16; // what the command writes at once
    const LargeLog& log = logOn(medium);
    for ([[maybe_unused]] auto _ : state) {
        long entries = 0;
        std::string output;
        zmu_tools::logs::Forms forms{QString()};
        zmu_tools::logs::Logs logs({log.file()}, forms, false);
        logs.readAll([&](const zmu_tools::logs::Entry& entry, const std::string& name) {
            ++entries;
            appendJsonLine(output, entry, name);
            if (output.size() > outputSize)
                output.clear();
        });
        if (entries != log.entries() || logs.tellRaw() || logs.isAnyUnreadable())
            state.SkipWithError("the log was not read as it was written");
    }
}

} // namespace

void registerReadingBench()
{
    constexpr int repetitions = 5; // which take a good part of a second each
    for (const Medium medium : media) {
        if (!fileSystemOf(medium).isEmpty())
            benchmark::RegisterBenchmark(
                nameOn("reading", medium).c_str(),
                [=](benchmark::State& state) { measureReading(state, medium); })
                ->Iterations(1)
                ->Repetitions(repetitions)
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
    }
}

} // namespace zmu_bench
