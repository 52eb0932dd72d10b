// Collecting into a log, in a host whose memory runs out.
#include "Memory.h"
#include "Torture.h"

#include <CollectedLogs.h>
#include <MadeSpools.h>

#include <zmu/collect/LogCollector.h>
#include <zmu/owner/ZarnDataZGW.h>

#include <QDir>

#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

using namespace zmu_collect;
using namespace zmu_test;
using namespace zmu_torture;

namespace {

constexpr std::size_t entriesQty = 7; ///< Of what writeSpool() writes.

constexpr const char* failures[] = {
    "collecting failed without a reason",
    "collecting did not work afterwards",
    "the owner could not report afterwards",
};

/// Five lines, one that is none, and a gap, as a process has left them that is gone.
void writeSpool(const QDir& spools)
{
    QFile file(spools.filePath(QString::fromStdString(spoolName())));
    std::string lines;
    for (const u64 number : {1, 2, 3, 6, 7})
        lines += spoolLine(number) + (number == 3 ? "{}\n" : "");
    if (!file.open(QIODevice::WriteOnly) || file.write(lines.c_str()) < 0)
        std::abort();
}

/// Collects while allocations fail, and then what is left. Returns 0, or the number of a failure.
int collect(const Place& place, const CollectOptions& options, std::atomic<long>& refusals)
{
    Zarn* monitor = openMonitor(place, 0);
    LogCollector collector;
    letShortageIn(true);
    const CollectEnd end = collector.run(monitor, options);
    keepShortageOut();
    if (end == CollectEnd::Failed) {
        ++refusals;
        if (!*collector.why())
            return 1;
    }
    if (collector.run(monitor, options) == CollectEnd::Failed)
        return 2;
    const bool reports = place.ledger.report(monitor, 0);
    ZarnDataZGW::destroyZarnMonitor(monitor);
    return reports ? 0 : 3;
}

} // namespace

void zmu_torture::collectWithoutMemory(Run& run)
{
    constexpr long quickSamples = 60;
    const Place place;
    const QDir root(QString::fromStdString(place.root));
    root.mkdir("spools");
    CollectOptions options;
    options.spools = {place.root + "/spools"};
    options.positions = place.root + "/positions";
    options.isOnce = true;

    std::vector<std::string> expected;
    auto& refusals = makeShared<std::atomic<long>>();
    int endsInQt = 0;
    const auto live = [&](const Shortage& shortage) {
        prepareShortage(shortage);
        place.clear();
        QFile::remove(root.filePath("positions"));
        writeSpool(root.filePath("spools"));
        const ChildEnd end =
            Child([&] { return collect(place, options, refusals); }, patience).wait();
        if (hasEndedInQt(end)) {
            ++endsInQt;
            return;
        }
        const std::string what = "allocation " + std::to_string(shortage.first) +
                                 (shortage.first == shortage.last ? "" : " and on");
        const bool isFailure = end.status > 0 && end.status <= int(std::size(failures));
        run.take(end, what + ": " + (isFailure ? failures[end.status - 1] : "it crashed or hung"));
        const std::vector<std::string> collected =
            identitiesOf(textOfLogs(QDir(QString::fromStdString(place.logs))));
        if (expected.empty())
            expected = collected;
        run.counts.done += static_cast<long>(collected.size());
        if (collected != expected)
            run.flaw(what + ": " + std::to_string(collected.size()) + " entries, or others");
    };
    live({});
    if (expected.size() != entriesQty)
        run.flaw("there were " + std::to_string(expected.size()) + " entries with memory");
    const long qty = allocationsQty();
    const long step = run.isQuick ? 1 + qty / quickSamples : 1;
    for (long n = 1; n <= qty; n += step) {
        live({n, n});
        live({n});
    }
    if (endsInQt > endsInQtMax)
        run.flaw(std::to_string(endsInQt) + " lives ended within Qt");
    run.did << 2 * ((qty + step - 1) / step) << " lives of " << qty << " allocations, " << refusals
            << " in which collecting failed at first, " << endsInQt
            << " ended where Qt makes its first objects";
}
