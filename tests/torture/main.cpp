// The torture program: what the library promises on its worst day, tried. `./dev torture --list`.
#include "Torture.h"

#include <Monitors.h>

#include <zmu/monitor/ZarnData.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>
#include <thread>
#include <vector>

using namespace zmu_test;
using namespace zmu_torture;

namespace {

constexpr Scenario scenarios[] = {
    {"kill", "kill -9 at any moment of reports of four threads, and of rollovers", killAtAnyMoment},
    {"fork", "a process forks while its threads report, and its children report",
     forkWhileReporting},
    {"limit", "the limit for files is at every byte of an entry, then there is room again",
     limitAtEveryByte},
    {"disk", "the disk is full, also at a rollover, then there is room again", fillTheDisk},
    {"outside", "logs and their folder are removed, moved, replaced, cut, and forbidden",
     meddleFromOutside},
    {"memory", "each allocation fails, alone and with all that follow", failAllocations},
    {"collect", "each allocation fails while situations of other processes are collected",
     collectWithoutMemory},
    {"calls", "each system call fails once, with each error that it can give", failSystemCalls},
    {"load", "32 threads report to 10 monitors whose logs are replaced at 1 MiB", load},
};

struct Options {
    bool isQuick = false;
    int rounds = 0;
    std::vector<const Scenario*> chosen; ///< None: all.

    bool asksFor(const Scenario& scenario) const
    {
        return chosen.empty() || std::find(chosen.begin(), chosen.end(), &scenario) != chosen.end();
    }
};

[[noreturn]] void list(int status)
{
    std::printf("torture [--quick] [--rounds N] [SCENARIO...]\n\n");
    for (const Scenario& scenario : scenarios)
        std::printf("  %-8s %s\n", scenario.name, scenario.sentence);
    std::exit(status);
}

Options readOptions(int count, char** arguments)
{
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--list" || argument == "--help")
            list(0);
        const std::size_t before = options.chosen.size();
        for (const Scenario& scenario : scenarios) {
            if (argument == scenario.name)
                options.chosen.push_back(&scenario);
        }
        if (argument == "--quick")
            options.isQuick = true;
        else if (argument == "--rounds" && i + 1 < count && std::atoi(arguments[i + 1]) > 0)
            options.rounds = std::atoi(arguments[++i]);
        else if (options.chosen.size() == before) {
            std::fprintf(stderr, "torture: %s is no scenario and no option\n", arguments[i]);
            list(2);
        }
    }
    return options;
}

/// Runs a scenario in this process and prints its line. Whether all went well.
bool runHere(const Scenario& scenario, const Options& options)
{
    const auto start = std::chrono::steady_clock::now();
    Run run(scenario.name, options.isQuick, options.rounds);
    scenario.run(run);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const Counts& counts = run.counts;
    std::printf("%-8s done %8ld  lost %ld  crashed %ld  hung %ld  flaws %ld  %5.1f s  %s\n",
                scenario.name, counts.done.load(), counts.lost.load(), counts.crashed.load(),
                counts.hung.load(), counts.flaws.load(), time.count(), run.did.str().c_str());
    return counts.done > 0 && counts.lost + counts.crashed + counts.hung + counts.flaws == 0;
}

} // namespace

void Run::take(const ChildEnd& end, const std::string& what)
{
    counts.crashed += end.isCrashed;
    counts.hung += end.isHung;
    if (end.isCrashed || end.isHung || end.status > 0)
        flaw(what + (end.isCrashed ? ": crashed" : end.isHung ? ": hung" : ""));
}

LogReader Run::check(const Place& place, bool mayBeCut)
{
    LogReader logs;
    logs.readFolder(place.logs, mayBeCut);
    count(place.ledger, logs, logs.lost(place.ledger));
    return logs;
}

void Run::count(const Ledger& ledger, const LogReader& logs, long lost)
{
    counts.done += ledger.sum();
    counts.lost += lost;
    for (const std::string& what : logs.flaws)
        flaw(what);
}

void Run::flaw(const std::string& what)
{
    constexpr long toldMax = 20;
    if (++counts.flaws <= toldMax)
        std::printf("  %s: %s\n", m_scenario, what.c_str());
}

namespace {

struct Settings : ZarnData {
    void setLimit(unsigned long limit) { m_logFileByteCountLimit = limit; }
};

} // namespace

Zarn* zmu_torture::openMonitor(const Place& place, unsigned long limit, int number)
{
    const std::string form = place.root + "/form.html";
    if (access(form.c_str(), R_OK) != 0)
        std::ofstream(form) << "^HEAD\n<html>\n^BODY\n[SITUATION_DSCRP]\n^TAIL\n</html>\n";
    const std::string log = place.logs + "/0-" + std::to_string(number) + ".html";
    Settings settings;
    makeReady(settings, std::wstring(log.begin(), log.end()),
              std::wstring(form.begin(), form.end()).c_str());
    if (limit)
        settings.setLimit(limit);
    settings.setLogRecovery(true);
    Zarn* const monitor = Zarn::create(&settings);
    if (!monitor)
        std::_Exit(2);
    return monitor;
}

void zmu_torture::sleepMs(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

int main(int count, char** arguments)
{
    constexpr unsigned wholePatience = 16 * patience; // its children have their own
    const Options options = readOptions(count, arguments);
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // several processes write it
    int failed = 0;
    for (const Scenario& scenario : scenarios) {
        if (!options.asksFor(scenario))
            continue;
        // Mounts, rights and limits of a scenario are its own.
        Child child([&] { return runHere(scenario, options) ? 0 : 1; }, wholePatience);
        const ChildEnd end = child.wait();
        if (end.status < 0)
            std::printf("%-8s the scenario itself has %s\n", scenario.name,
                        end.isHung ? "hung" : "crashed");
        failed += end.status != 0;
    }
    std::printf(failed ? "%d failed\n" : "all held\n", failed);
    return failed ? 1 : 0;
}
