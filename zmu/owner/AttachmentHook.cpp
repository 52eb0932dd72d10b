// The library's attachment hook: at the end of a thread its engines leave every registered monitor,
// at the end of the library's stay in the process the monitors are destroyed.
//
// A monitor leaves the registry before it is destroyed, under a lock that a thread that ends holds,
// too. One that ends later finds no entry; its engines went with the data set.
#include <zmu/platform/Attachment.h>

#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Registry.h>

#include <mutex>
#include <utility>

namespace {

/// The road to a monitor's data set.
struct DataSetOf : Zarn {
    static ZarnData* of(Zarn& monitor) { return (monitor.*&DataSetOf::getDataSet)(); }
};

template <class Visit>
void forEachMonitor(Visit visit)
{
    Zarn** const monitors = Zarn::getZarnMonitors();
    if (!monitors || Zarn::getZarnMonitorsCount() < 1)
        return;
    for (int i = 0; i < Zarn::getZarnMonitorsQty(); ++i) {
        if (monitors[i])
            visit(*monitors[i]);
    }
}

/// A code that only the thread's engine holds would keep it from being removed, and nobody will ask
/// for it any more.
void forgetCodeOfThread(const ZarnData* dataSet)
{
    if (dataSet && dataSet->isFreeOfCode() && !dataSet->isSelfSatisfied())
        dataSet->forgetSelfDX_Code();
}

/// Whether nobody but the calling thread is at work in any monitor.
bool areMonitorsAtRest()
{
    const std::unique_lock guard(zmu::registryEntries(), std::try_to_lock);
    bool areAtRest = guard.owns_lock();
    if (areAtRest)
        forEachMonitor([&](Zarn& monitor) {
            const ZarnData* const dataSet = DataSetOf::of(monitor);
            areAtRest = areAtRest && (!dataSet || dataSet->isAtRest());
        });
    return areAtRest;
}

/// The log directory of the process, which a library that is unloaded would leave behind.
struct LogVariables : ZarnData {
    static void forget() { delete[] std::exchange(s_logDirectory, nullptr); }
};

} // namespace

void zmu::onThreadDetach()
{
    const std::lock_guard guard(registryEntries());
    forEachMonitor([](Zarn& monitor) {
        forgetCodeOfThread(DataSetOf::of(monitor));
        monitor.removeThread();
    });
}

void zmu::onProcessDetach(bool threadsWereStopped)
{
    // What a stopped thread was in the middle of is left as it is: to destroy it might wait for
    // ever. A log is whole after each of its entries, and the system closes it.
    if (threadsWereStopped && !areMonitorsAtRest())
        return;
    if (Zarn::getZarnMonitors())
        Zarn::destroy();
    if (!threadsWereStopped)
        LogVariables::forget();
}
