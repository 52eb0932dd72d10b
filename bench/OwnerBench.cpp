// What an owner's start costs, the replacement of a log, which holds up whoever reports, and the
// reports in its head.
#include "Log.h"
#include "Measure.h"

#include <zmu/owner/ZarnDataZGW.h>
#include <zmu/sysinfo/ZarnSysInfoEnvApp.h>
#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>
#include <zmu/sysinfo/ZarnSysInfoEnvVars.h>
#include <zmu/sysinfo/ZarnSysInfoFormatter.h>

#include <QFile>
#include <QTextStream>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
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

void measureReplacement(benchmark::State& state, Medium medium, const wchar_t* form)
{
    const Folder folder(medium);
    useDirectory(folder);
    const Log log(medium, form);
    measureApart(
        state,
        [&] {
            if (!log.monitor().reestablishLogFile(false))
                state.SkipWithError("the log was not replaced");
        },
        [&] { folder.clearExcept(log.file()); });
}

void measureReplacementWithReports(benchmark::State& state, Medium medium)
{
    const Folder folder(medium);
    QFile form(folder.path("form.html"));
    if (!form.open(QIODevice::WriteOnly) || form.write(R"(^INJECT_SYS_INFO
3
SYS_INFO_ENV_APP 1 1 1
<tr><th>
</th>
<td>
</td>
SYS_INFO_ENV_OP 1 1 0
<tr><th>
</th>
<td>
</td></tr>
SYS_INFO_VARS_ENV 1 1 0
<tr><th>
</th>
<td>
</td></tr>
^HEAD
<html><table>[SYS_INFO_ENV_APP]</table><table>[SYS_INFO_ENV_OP]</table><table>[SYS_INFO_VARS_ENV]</table>
^BODY
<p>[SITUATION_DSCRP]</p>
^TAIL
</html>
)") < 0 ||
        !form.flush())
        throw std::runtime_error("no form to read");
    measureReplacement(state, medium, form.fileName().toStdWString().c_str());
}

/// The shipped form without the reports that it injects.
QByteArray shippedForm()
{
    QFile file(ZMU_BENCH_FORM);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("no shipped form");
    QByteArray form = file.readAll();
    const qsizetype injectors = form.indexOf("\n^INJECT_SYS_INFO") + 1;
    form.remove(injectors, form.indexOf("^HEAD") - injectors);
    for (const char* report : {"[SYS_INFO_ENV_APP]", "[SYS_INFO_ENV_OP]", "[SYS_INFO_VARS_ENV]"})
        form.replace(report, "");
    return form;
}

void measureMonitorStart(benchmark::State& state, Medium medium)
{
    const Folder folder(medium);
    QFile form(folder.path("form.html"));
    if (!form.open(QIODevice::WriteOnly) || form.write(shippedForm()) < 0 || !form.flush())
        throw std::runtime_error("no form to read");
    const std::wstring name = form.fileName().toStdWString();
    std::unique_ptr<Log> log;
    const auto start = [&] { log = std::make_unique<Log>(medium, name.c_str()); };
    start();
    if (log->size() < form.size()) {
        state.SkipWithError("the log is not of the form");
        return;
    }
    measureApart(state, start, [&] { log.reset(); });
}

void measureReports(benchmark::State& state)
{
    measure(state, [] {
        QString text;
        QTextStream stream(&text);
        ZarnSysInfoFormatterHTML formatter(&stream);
        ZarnSysInfoEnvApp modules;
        ZarnSysInfoEnvOp machine;
        ZarnSysInfoEnvVars variables;
        for (ZarnSysInfo* const source :
             std::initializer_list<ZarnSysInfo*>{&modules, &machine, &variables}) {
            formatter.setSysInfo(source);
            formatter.reportSystemInformation();
        }
        benchmark::DoNotOptimize(text.size());
    });
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
        add("replacement",
            [](benchmark::State& state, Medium on) { measureReplacement(state, on, nullptr); });
        add("replacement with reports", measureReplacementWithReports);
        add("monitor start", measureMonitorStart);
    }
    benchmark::RegisterBenchmark("reports", measureReports)->UseRealTime();
}

} // namespace zmu_bench
