// Ends, as the library notices them by itself:
//
// - A thread that is given an engine registers an exit function with the C++ runtime. Until such a
//   function has run the runtime does not unmap the library, so a dlclose that comes too early only
//   takes effect when the threads have ended. A thread's own destructors may report once more after
//   the exit function; that gives the thread an engine again, which registers the function again.
// - A static object stands for the library: it is destroyed when the library is unmapped, or when
//   the process exits. It is made when the library is loaded, so it goes after every static object
//   of a host that was linked with it, which may still report or destroy its monitor itself, and
//   before those of the libraries below. The exit functions of the thread that exits, main or
//   another, have run by then.
// - Exit does not stop other threads. While one of them has reported and lives on, its next report
//   may come at any moment, and no lock could keep a monitor from being destroyed under it. The
//   monitors are left alone then: a log is whole after each of its entries, and the system closes
//   it.
#include <zmu/platform/Attachment.h>

#include <atomic>
#include <cxxabi.h>

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
    zmu::onThreadDetach();
    // Last: from here on the monitors may be destroyed, and the library be unmapped.
    --s_watchedThreads;
}

struct ProcessEnd {
    ~ProcessEnd()
    {
        // What the exiting thread has reported since its exit functions ran is its own affair.
        if (s_watchedThreads == (isWatched ? 1 : 0))
            zmu::onProcessDetach(false);
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
