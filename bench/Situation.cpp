#include "Situation.h"

#include <zmu/localize/ResourceModule.h>

#include <string>

namespace {

const std::wstring& specOf(unsigned int id)
{
    static const std::wstring none;
    static const std::wstring message = std::wstring(L"``") + zmu_bench::messageFormat + L"`";
    static const std::wstring logged = L"2~536870912~2~u`s~||" + message;
    static const std::wstring displayed = L"2~536870912~2~u`s~|48~" + message + L"|``";
    static const std::wstring large = L"2~536870912~2~s~||``%1!s!`";
    switch (id) {
    case zmu_bench::LoggedSituation:
        return logged;
    case zmu_bench::DisplayedSituation:
        return displayed;
    case zmu_bench::LargeSituation:
        return large;
    default:
        return none;
    }
}

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    const std::wstring& spec = specOf(id);
    SetLastError(spec.empty() ? zmu::StringUnknown : zmu::StringFound);
    if (spec.empty())
        return 0;
    const std::size_t length = spec.copy(buffer, static_cast<std::size_t>(bufferMax) - 1);
    buffer[length] = L'\0';
    return static_cast<int>(length);
}

namespace zmu_bench {

void reportLarge(Zarn& monitor)
{
    static const std::wstring text(900, L'x');
    monitor.respondToSituation(LargeSituation, nullptr, text.c_str());
}

} // namespace zmu_bench
