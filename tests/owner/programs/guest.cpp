// A module that reports for a program which knows nothing of the library.
#include <zmu/localize/ResourceModule.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/owner/ZarnDataZGW.h>

#include <cwchar>
#include <string>

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    SetLastError(id == 100 ? zmu::StringFound : zmu::StringUnknown);
    return id == 100 ? std::swprintf(buffer, std::size_t(bufferMax), L"2~0~2~s~||``%%1`") : 0;
}

namespace {

Zarn* monitor = nullptr;

} // namespace

ZMU_RESOURCE_MODULE_ENTRY bool guestReport(const char* directory)
{
    const std::string path = directory;
    ZarnData::setLogVariables(std::wstring(path.begin(), path.end()).c_str(), 1, true, 20, 7);
    const HMODULE self = GetModuleHandleW(L"owner_guest.dll");
    // One in each thread; the log of those that make no monitor goes with them.
    ZarnDataZGW owner(0, true, nullptr, self, Zarn_LOG_HTML);
    if (!monitor)
        monitor = owner.createZarnMonitor();
    return monitor && monitor->respondToSituation(100, nullptr, L"entry") &&
           monitor->isSelfSatisfied();
}
