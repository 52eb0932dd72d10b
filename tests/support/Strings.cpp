#include "Strings.h"

#include <cstddef>

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    const auto& strings = zmu_test::strings();
    const auto row = strings.find(id);
    if (row == strings.end()) {
        SetLastError(zmu::StringUnknown);
        return 0;
    }
    const std::size_t length = row->second.copy(buffer, static_cast<std::size_t>(bufferMax) - 1);
    buffer[length] = L'\0';
    SetLastError(zmu::StringFound);
    return static_cast<int>(length);
}

#if defined(__SANITIZE_THREAD__)
// Two libraries of the machine are not built for the sanitizer, which sees neither how libsystemd
// comes by its socket nor the lock that the C library takes around its time zone.
extern "C" const char* __tsan_default_suppressions()
{
    return "race:libsystemd.so\nrace:tzset_internal\n";
}
#endif

namespace zmu_test {

std::map<unsigned int, std::wstring>& strings()
{
    static std::map<unsigned int, std::wstring> table{{textSituation, L"2~0~2~s~||``%1`"}};
    return table;
}

int reportText(Zarn* monitor, const wchar_t* text)
{
    monitor->respondToSituation(textSituation, nullptr, text);
    return monitor->getSelfDX_Code();
}

} // namespace zmu_test
