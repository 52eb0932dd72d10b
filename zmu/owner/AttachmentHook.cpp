// The library's attachment hook: at the end of a thread its engines leave every registered monitor,
// at the end of the library's stay in the process the monitors are destroyed.
//
// Windows tells both, through DllMain. Elsewhere the hook tells itself:
//
// - A thread that is given an engine registers an exit function with the C++ runtime. Until such a
//   function has run the runtime does not unmap the library, so a dlclose that comes too early only
//   takes effect when the threads have ended. A thread's own destructors may report once more after
//   the exit function; that gives the thread an engine again, which registers the function again.
// - A static object destroys the monitors: when the library is unmapped, or when the process exits.
//   It is made when the library is loaded, so it goes after every static object of a host that was
//   linked with it, which may still report or destroy its monitor itself, and before those of the libraries below. The
//   exit functions of the thread that exits, main or another, have run by then.
// - Exit does not stop other threads. While one of them has reported and lives on, its next report
//   may come at any moment, and no lock could keep a monitor from being destroyed under it. The
//   monitors are left alone then: a log is whole after each of its entries, and the system closes
//   it.
// - A monitor leaves the registry before it is destroyed, under a lock that exit functions hold,
//   too. A thread that ends later finds no entry; its engines went with the data set.
#include <zmu/monitor/internal/AttachmentHook.h>

#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Registry.h>

#include <utility>

#if defined(_WIN32)
#include <zmu/platform/Win32.h>
#else
#include <atomic>
#include <cxxabi.h>
#endif

namespace {

/// The road to a monitor's data set.
struct DataSetOf : Zarn {
    static ZarnData* of(Zarn& monitor) { return (monitor.*&DataSetOf::getDataSet)(); }
};

/// A code that only the thread's engine holds would keep it from being removed, and nobody will ask
/// for it any more.
void forgetCodeOfThread(const ZarnData* dataSet)
{
    if (dataSet && dataSet->isFreeOfCode() && !dataSet->isSelfSatisfied())
        dataSet->forgetSelfDX_Code();
}

void onThreadDetach()
{
    const std::lock_guard guard(zmu::registryEntries());
    Zarn** const monitors = Zarn::getZarnMonitors();
    if (!monitors || Zarn::getZarnMonitorsCount() < 1)
        return;
    for (int i = 0; i < Zarn::getZarnMonitorsQty(); ++i) {
        if (!monitors[i])
            continue;
        forgetCodeOfThread(DataSetOf::of(*monitors[i]));
        monitors[i]->removeThread();
    }
}

/// The log directory of the process, which a library that is unmapped would leave behind.
struct LogVariables : ZarnData {
    static void forget() { delete[] std::exchange(s_logDirectory, nullptr); }
};

void onProcessDetach()
{
    if (Zarn::getZarnMonitors())
        Zarn::destroy();
    LogVariables::forget();
}

} // namespace

#if defined(_WIN32)

void zmu::watchThreadEnd() {} // the system tells

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*)
{
    if (reason == DLL_THREAD_DETACH)
        onThreadDetach();
    else if (reason == DLL_PROCESS_DETACH)
        onProcessDetach();
    return TRUE;
}

#else

extern "C" {
/// Address within the library by which the runtime knows it.
extern void* __dso_handle __attribute__((visibility("hidden")));
}

namespace {

thread_local bool isWatched = false;
/// Threads whose exit function is still to run.
constinit std::atomic<int> s_watchedThreads = 0;

void atThreadEnd(void*)
{
    isWatched = false;
    onThreadDetach();
    // Last: from here on the monitors may be destroyed, and the library be unmapped.
    --s_watchedThreads;
}

struct ProcessEnd {
    ~ProcessEnd()
    {
        // What the exiting thread has reported since its exit functions ran is its own affair.
        if (s_watchedThreads == (isWatched ? 1 : 0))
            onProcessDetach();
    }
};
const ProcessEnd processEnd;

} // namespace

void zmu::watchThreadEnd()
{
    if (isWatched)
        return;
    isWatched = true;
    ++s_watchedThreads;
    abi::__cxa_thread_atexit(atThreadEnd, nullptr, &__dso_handle);
}

#endif
