// Processes that end without a word, and such as become two.
#include "Torture.h"

#include <random>
#include <thread>

#include <unistd.h>

using namespace zmu_test;
using namespace zmu_torture;

namespace {
constexpr int threadsQty = 4;
}

void zmu_torture::killAtAnyMoment(Run& run)
{
    constexpr unsigned longestUs = 20000;
    const int rounds = run.rounds(1000, 100);
    std::mt19937 random(20061);
    const Place place;
    int documents = 0;
    int cut = 0;
    for (int round = 0; round < rounds; ++round) {
        place.clear();
        Child child([&] {
            Zarn* const monitor = openMonitor(place, 4000);
            inThreads(threadsQty, [&](int thread) {
                while (place.ledger.report(monitor, thread)) {
                }
            });
            return 1;
        });
        // One in four may be killed while it starts.
        if (round % 4 != 0 && !becomesTrue([&] { return place.ledger.sum() > 0; }))
            run.flaw("nothing was reported");
        usleep(random() % longestUs);
        child.kill();
        run.take(child.wait(), "a report failed before the kill");
        const LogReader logs = run.check(place, true);
        documents += logs.documents;
        cut += logs.cut;
    }
    run.did << rounds << " kills; " << documents << " documents, " << cut
            << " of them empty or cut within what was being written";
}

void zmu_torture::forkWhileReporting(Run& run)
{
    const int forks = std::min(run.rounds(200, 40), 200);
    const Place place;
    Child parent(
        [&] {
            Zarn* const monitor = openMonitor(place, 20000);
            std::atomic<bool> isOver = false;
            std::atomic<bool> works = true;
            inThreads(threadsQty, [&](int thread) {
                for (int round = 1; thread > 0 && !isOver; ++round) {
                    works = place.ledger.report(monitor, thread) && works;
                    works = (round % 4 != 0 || monitor->removeThread()) && works;
                }
                for (int lane = threadsQty; !isOver && lane < threadsQty + 2 * forks; lane += 2) {
                    Child child([&] {
                        bool isDone = place.ledger.report(monitor, lane);
                        std::thread([&] {
                            isDone &= place.ledger.report(monitor, lane + 1);
                        }).join();
                        return isDone ? 0 : 1;
                    });
                    run.take(child.wait(), "a report failed in a child");
                }
                isOver = true;
            });
            return works ? 0 : 1;
        },
        patience);
    run.take(parent.wait(), "a report failed in the parent");
    const LogReader logs = run.check(place);
    run.did << forks << " forks of a process with four threads; " << logs.documents << " documents";
}
