// Room that runs out, and comes back.
#include "Torture.h"

#include <linux/Refusals.h>

#include <filesystem>

#include <sys/mount.h>
#include <unistd.h>

using namespace zmu_test;
using namespace zmu_torture;

namespace {

constexpr int longestEntry = 520; // bytes

/// Reports until it is done: a log that had no room for its head comes back within a second or so.
bool comesBack(const Place& place, Zarn* monitor)
{
    return becomesTrue([&] { return place.ledger.report(monitor, 0); });
}

void expectWhole(Run& run, const Place& place)
{
    LogReader logs;
    logs.readFolder(place.logs);
    if (!logs.flaws.empty() || logs.lost(place.ledger) > 0)
        run.flaw("without room: " + (logs.flaws.empty() ? "entries are lost" : logs.flaws.front()));
}

} // namespace

void zmu_torture::limitAtEveryByte(Run& run)
{
    const int rounds = run.rounds(10, 1);
    auto& refused = makeShared<std::atomic<long>>();
    for (int round = 0; round < rounds; ++round) {
        const Place place;
        Child child(
            [&] {
                Zarn* const monitor = openMonitor(place, 0);
                const std::string log = place.logs + "/0-0.html";
                for (int i = 0; i < 10 + round; ++i) // a limit cannot be below 0
                    place.ledger.report(monitor, 0);
                for (int offset = -longestEntry; offset <= longestEntry; ++offset) {
                    const auto size = static_cast<long>(std::filesystem::file_size(log));
                    {
                        const SizeLimit held(size + offset);
                        refused += !place.ledger.report(monitor, 0);
                    }
                    expectWhole(run, place);
                    if (!place.ledger.report(monitor, 0))
                        run.flaw("refused with room again, limit was at " + std::to_string(offset));
                }
                return 0;
            },
            patience);
        run.take(child.wait());
        run.check(place);
    }
    if (refused < long{longestEntry} * rounds)
        run.flaw("the limit refused next to nothing");
    run.did << rounds * (2 * longestEntry + 1) << " limits; " << refused << " refused";
}

void zmu_torture::fillTheDisk(Run& run)
{
    constexpr int refusedMax = 3; // the present block takes some
    constexpr int roundsOfADisk = 50;
    const int rounds = run.rounds(400, roundsOfADisk);
    auto& refused = makeShared<std::atomic<long>>();
    int documents = 0;
    for (int start = 0; start < rounds; start += roundsOfADisk) {
        const Place place;
        const std::string ballast = place.logs + "/ballast";
        if (const std::string why = mountSmallDisk(place.logs); !why.empty()) {
            run.did << "no disk of its own (" << why << "), so only limits for files: ";
            limitAtEveryByte(run);
            return;
        }
        Child child(
            [&] {
                Zarn* const monitor = openMonitor(place, 40000 + start);
                for (int round = 0; round < roundsOfADisk; ++round) {
                    fill(ballast);
                    for (int i = 0; i < refusedMax; ++i, ++refused) {
                        while (place.ledger.report(monitor, 0)) {
                        }
                    }
                    unlink(ballast.c_str());
                    expectWhole(run, place);
                    if (!comesBack(place, monitor))
                        run.flaw("refused with room again");
                }
                return 0;
            },
            patience);
        run.take(child.wait());
        documents += run.check(place).documents;
        umount(place.logs.c_str());
    }
    run.did << "a tmpfs of 1 MiB was filled " << rounds << " times; " << refused << " refused, "
            << documents << " documents";
}
