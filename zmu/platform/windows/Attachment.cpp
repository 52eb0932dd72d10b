// Ends, as the system tells them. A thread that ends tells it itself. At the end of the process the
// static objects of the program have gone before, and the system has stopped all other threads.
// When the library is unloaded, it is for the host to see that none uses it any more; threads that
// have used it may live on, and their ends are not told.
#include <zmu/platform/Attachment.h>
#include <zmu/platform/Win32.h>

#include <QtGlobal>

namespace {

/// Keeps Qt in the process when the library leaves it. Qt watches the threads that have used it
/// with a thread of its own, which goes on and would find no code there when the next one ends.
void keepQt()
{
    HMODULE ignored = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<const wchar_t*>(&qVersion), &ignored);
}

} // namespace

void zmu::watchThreadEnd() {} // every thread is watched

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* processEnds)
{
    if (reason == DLL_PROCESS_ATTACH)
        keepQt();
    else if (reason == DLL_THREAD_DETACH)
        zmu::onThreadDetach();
    else if (reason == DLL_PROCESS_DETACH)
        zmu::onProcessDetach(processEnds != nullptr);
    return TRUE;
}
