// The whole road of a situation: to the log, to the display, to the proxy.
#include "Instructions.h"
#include "Log.h"
#include "Measure.h"
#include "Situation.h"

namespace zmu_bench {

namespace {

void measureReports(benchmark::State& state, Zarn& monitor, SituationID situation)
{
    measure(state, [&] { report(monitor, situation); });
    if (!monitor.isSelfSatisfied())
        state.SkipWithError("a situation failed");
}

void measureLog(benchmark::State& state, const Log& log)
{
    const QString file = log.file();
    measureReports(state, log.monitor(), LoggedSituation);
    if (log.file() != file)
        state.SkipWithError("the log rolled over: measure fewer situations");
}

void measureLogByHand(benchmark::State& state, Medium medium)
{
    measureLog(state, Log(medium));
}

void measureLogThatComesBack(benchmark::State& state, Medium medium)
{
    constexpr bool comesBack = true;
    measureLog(state, Log(medium, nullptr, comesBack));
}

void measureDisplay(benchmark::State& state)
{
    const Log log(Medium::Disk);
    const qint64 size = log.size();
    measureReports(state, log.monitor(), DisplayedSituation);
    if (log.size() != size)
        state.SkipWithError("the situation reached the log");
}

Monitor makeProxyMonitor()
{
    return Monitor{ProxySettings(ZMU_BENCH_PROXY)};
}

void measureProxy(benchmark::State& state)
{
    measureReports(state, *makeProxyMonitor(), LoggedSituation);
}

bool reportTo(Zarn& monitor, SituationID situation, int count)
{
    for (int i = 0; i < count; ++i)
        report(monitor, situation);
    return monitor.isSelfSatisfied();
}

} // namespace

bool reportOn(const std::string& road, int count)
{
    if (road == logRoad)
        return reportTo(Log(Medium::Disk).monitor(), LoggedSituation, count);
    if (road == displayRoad)
        return reportTo(Log(Medium::Disk).monitor(), DisplayedSituation, count);
    return road == proxyRoad && reportTo(*makeProxyMonitor(), LoggedSituation, count);
}

void registerRoadBench()
{
    registerOnMedia("road to log", measureLogByHand);
    registerOnMedia("road to a log that comes back", measureLogThatComesBack);
    benchmark::RegisterBenchmark("road to display", measureDisplay);
    benchmark::RegisterBenchmark("road to proxy", measureProxy);
}

} // namespace zmu_bench
