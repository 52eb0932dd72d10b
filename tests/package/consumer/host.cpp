// A host with much of its own: other libraries' headers first, integer types and names of the
// platform as compatibility layers define them. Reports one situation and prints the log's path.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

#include "Others.h"
using u64 = std::uint64_t;

#include "headers.h" // every header of the package

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    SetLastError(id == 1 ? zmu::StringFound : zmu::StringUnknown);
    return id == 1 ? swprintf(buffer, static_cast<std::size_t>(bufferMax), L"2~0||``Hello.`") : 0;
}

int main()
try {
    ZarnDataZGW owner(ZGW_OWNER_CM, true, nullptr, nullptr, Zarn_LOG_HTML);
    Zarn* monitor = owner.createZarnMonitor();
    wchar_t log[1024] = {};
    const u64 size = std::size(log);
    const BOOL reported = monitor && monitor->respondToSituation(1, nullptr) &&
                          monitor->isSelfSatisfied() && monitor->getFileLogName(log, size);
    std::printf("%ls\n", log);
    ZarnDataZGW::destroyZarnMonitor(monitor);
    return reported ? 0 : 1;
} catch (int code) {
    std::printf("no owner: %d\n", code);
    return 2;
}
