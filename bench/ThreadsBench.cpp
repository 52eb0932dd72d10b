// Two threads that report to one monitor, against one.
#include "Log.h"
#include "Measure.h"
#include "Situation.h"

#include <memory>

namespace zmu_bench {

namespace {

/// What the threads of one measurement share: made before they start, gone when they have ended.
std::unique_ptr<Log> sharedLog;

void measureShared(benchmark::State& state)
{
    Zarn& monitor = sharedLog->monitor();
    measure(state, [&] { report(monitor, LoggedSituation); });
    if (!monitor.isSelfSatisfied())
        state.SkipWithError("a situation failed");
    monitor.removeThread();
}

template <Medium medium>
void makeLog(const benchmark::State&)
{
    sharedLog = std::make_unique<Log>(medium);
}

void dropLog(const benchmark::State&)
{
    sharedLog.reset();
}

template <Medium medium>
void registerOn()
{
    if (fileSystemOf(medium).isEmpty())
        return;
    const auto add = [](const char* name, int threads) {
        benchmark::RegisterBenchmark(nameOn(name, medium).c_str(), measureShared)
            ->Threads(threads)
            ->UseRealTime()
            ->Setup(makeLog<medium>)
            ->Teardown(dropLog);
    };
    add("one thread", 1);
    add("two threads", 2);
}

} // namespace

void registerThreadsBench()
{
    registerOn<Medium::Tmpfs>();
    registerOn<Medium::Disk>();
}

} // namespace zmu_bench
