// Much of everything, for long.
#include "Torture.h"

#include <filesystem>
#include <fstream>

#include <unistd.h>

using namespace zmu_test;
using namespace zmu_torture;

namespace {

constexpr int threadsQty = 32;
constexpr int monitorsQty = 10;
constexpr unsigned long limit = 1048576;

long residentPages()
{
    long size = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident;
}

long descriptors()
{
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
}

/// Reads the logs that are full, and so are written no more, and takes them away. Of a monitor they
/// become full in the order of their names.
void readFullLogs(LogReader& logs, const Place& place)
{
    for (const std::string& file : filesOf(place.logs)) {
        if (std::filesystem::file_size(file) < limit)
            continue;
        logs.readFile(file);
        std::filesystem::remove(file);
    }
}

struct Growth {
    std::atomic<long> pages;
    std::atomic<long> descriptors;
    std::atomic<bool> isOver;
};

} // namespace

void zmu_torture::load(Run& run)
{
    constexpr long growthMax = 1024; // pages; stacks and the allocator's arenas come and go
    const long perLane = run.rounds(10000000, 1000000) / threadsQty / monitorsQty;
    const Place place;
    auto& growth = makeShared<Growth>();
    Child child(
        [&] {
            Zarn* monitors[monitorsQty];
            for (int i = 0; i < monitorsQty; ++i)
                monitors[i] = openMonitor(place, limit, i);
            std::atomic<bool> works = true;
            const auto reportPart = [&](long until) {
                inThreads(threadsQty, [&](int thread) {
                    for (long n = 0; n < until; ++n)
                        for (int i = 0; i < monitorsQty; ++i)
                            works =
                                place.ledger.report(monitors[i], thread * monitorsQty + i) && works;
                });
            };
            reportPart(perLane / 10);
            growth.pages = -residentPages();
            growth.descriptors = -descriptors();
            for (int part = 1; part < 10; ++part)
                reportPart(perLane / 10);
            growth.pages += residentPages();
            growth.descriptors += descriptors();
            return works ? 0 : 1;
        },
        4 * patience);
    LogReader logs;
    std::thread reader([&] {
        while (!growth.isOver) {
            readFullLogs(logs, place);
            sleepMs(50);
        }
    });
    run.take(child.wait(), "a report failed");
    growth.isOver = true;
    reader.join();
    readFullLogs(logs, place);
    logs.readFolder(place.logs);
    run.count(place.ledger, logs, logs.lost(place.ledger));
    if (growth.pages > growthMax)
        run.flaw("memory grew by " + std::to_string(growth.pages) + " pages");
    if (growth.descriptors != 0)
        run.flaw("descriptors grew by " + std::to_string(growth.descriptors));
    run.did << threadsQty << " threads, " << monitorsQty << " monitors, " << logs.documents
            << " documents; memory grew by " << growth.pages << " pages, descriptors by "
            << growth.descriptors;
}
