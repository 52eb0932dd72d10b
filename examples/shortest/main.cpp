#include "situations.h"

#include <zmu/owner/ZarnDataZGW.h>

#include <cstdio>

int main()
try {
    ZarnDataZGW owner(ZGW_OWNER_CM, true, nullptr, situations::load(), Zarn_LOG_HTML);
    Zarn* monitor = owner.createZarnMonitor();
    if (!monitor)
        return ZarnDataZGW::getDX_Code1();
    const int code = situations::sessionStarted(monitor, 7, "Ada");
    wchar_t logName[1024] = {};
    if (monitor->getFileLogName(logName, 1024))
        std::printf("%ls\n", logName);
    ZarnDataZGW::destroyZarnMonitor(monitor);
    return code;
} catch (int code) {
    return code; // why there is no owner
}
