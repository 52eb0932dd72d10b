#include <zmu/localize/ResourceModule.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/owner/ZarnDataZGW.h>

#include <cstdio>

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    const wchar_t* text = id == 1001 ? L"2~0~2~u`s||``Session %1!u! of %2!s! has started.`" : L"";
    SetLastError(*text ? zmu::StringFound : zmu::StringUnknown);
    return *text ? swprintf(buffer, bufferMax, L"%ls", text) : 0;
}

int main()
try {
    ZarnDataZGW owner(ZGW_OWNER_CM, true, nullptr, nullptr, Zarn_LOG_HTML);
    Zarn* monitor = owner.createZarnMonitor();
    if (!monitor)
        return ZarnDataZGW::getDX_Code1();
    monitor->respondToSituation(1001, nullptr, 7U, L"Ada");
    const int code = monitor->getSelfDX_Code();
    wchar_t logName[1024] = {};
    if (monitor->getFileLogName(logName, 1024))
        std::printf("%ls\n", logName);
    ZarnDataZGW::destroyZarnMonitor(monitor);
    return code;
} catch (int code) {
    return code; // why there is no owner
}
