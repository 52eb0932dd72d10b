// The library's entry point: what happens when a thread or the process lets go of it.
#include <zmu/monitor/Zarn.h>

/// A thread that ends leaves no engine behind, and the monitors go with the process. Always
/// reports success.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*)
{
    Zarn** const monitors = Zarn::getZarnMonitors();
    if (!monitors)
        return TRUE;
    if (reason == DLL_PROCESS_DETACH) {
        Zarn::destroy();
    } else if (reason == DLL_THREAD_DETACH && Zarn::getZarnMonitorsCount() >= 1) {
        for (int i = 0; i < Zarn::getZarnMonitorsQty(); ++i) {
            if (monitors[i])
                monitors[i]->removeThread();
        }
    }
    return TRUE;
}
