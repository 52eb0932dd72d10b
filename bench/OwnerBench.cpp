// What an owner's start costs, and the replacement of a log, which holds up whoever reports.
#include "Log.h"
#include "Measure.h"

#include <zmu/owner/ZarnDataZGW.h>

#include <chrono>
#include <thread>

namespace zmu_bench {

namespace {

void useDirectory(const Folder& folder)
{
    ZarnData::setLogVariables(folder.path(".").toStdWString().c_str(), 1, true, 20, 7);
}

/// Measures `step`, before each of which `prepare` runs and the clock moves on: the name of a log
/// is its moment, and two in one millisecond would wait for each other.
template <class Step, class Prepare>
void measureApart(benchmark::State& state, Step step, Prepare prepare)
{
    constexpr std::chrono::milliseconds apart(2);
    step();
    unsigned long allocations = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        prepare();
        std::this_thread::sleep_for(apart);
        const unsigned long before = allocationCount().value_or(0);
        state.ResumeTiming();
        step();
        state.PauseTiming();
        allocations += allocationCount().value_or(0) - before;
        state.ResumeTiming();
    }
    if (allocationCount())
        state.counters[allocationsCounter] = benchmark::Counter(static_cast<double>(allocations),
                                                                benchmark::Counter::kAvgIterations);
}

void measureStart(benchmark::State& state, Medium medium)
{
    const Folder folder(medium);
    useDirectory(folder);
    Zarn* monitor = nullptr;
    measureApart(
        state,
        [&] {
            ZarnDataZGW owner(0, true, nullptr, nullptr, Zarn_LOG_HTML);
            monitor = owner.createZarnMonitor();
            if (!monitor)
                state.SkipWithError("no monitor");
        },
        [&] {
            ZarnDataZGW::destroyZarnMonitor(monitor);
            folder.clearExcept({});
        });
    ZarnDataZGW::destroyZarnMonitor(monitor);
}

void measureReplacement(benchmark::State& state, Medium medium)
{
    const Folder folder(medium);
    useDirectory(folder);
    const Log log(medium);
    measureApart(
        state,
        [&] {
            if (!log.monitor().reestablishLogFile(false))
                state.SkipWithError("the log was not replaced");
        },
        [&] { folder.clearExcept(log.file()); });
}

} // namespace

void registerOwnerBench()
{
    for (const Medium medium : media) {
        if (fileSystemOf(medium).isEmpty())
            continue;
        const auto add = [medium](const char* name, auto measure) {
            benchmark::RegisterBenchmark(nameOn(name, medium).c_str(),
                                         [=](benchmark::State& state) { measure(state, medium); })
                ->UseRealTime()
                ->Iterations(20);
        };
        add("owner start", measureStart);
        add("replacement", measureReplacement);
    }
}

} // namespace zmu_bench
