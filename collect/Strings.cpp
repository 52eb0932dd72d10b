#include "Strings.h"

#include <zmu/collect/LogCollector.h>
#include <zmu/localize/ResourceModule.h>

#include <string_view>

using namespace zmu_collect;

namespace {

/// One argument, which is the text of the entry, in one line.
constexpr std::wstring_view spec = L"2~0~2~s||0``%1!s!`";

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    constexpr Situations usual;
    const auto asked = static_cast<int>(id);
    const bool isKnown =
        asked == usual.collected || asked == usual.missing || asked == usual.passedOver;
    if (!isKnown || bufferMax < 1) {
        SetLastError(zmu::StringUnknown);
        return 0;
    }
    const std::size_t length = spec.copy(buffer, static_cast<std::size_t>(bufferMax) - 1);
    buffer[length] = L'\0';
    SetLastError(zmu::StringFound);
    return static_cast<int>(length);
}

HMODULE zmu_collect::ownModule()
{
    return GetModuleHandleW(L"zmu_collect.dll");
}
