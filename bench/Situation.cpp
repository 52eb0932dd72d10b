#include "Situation.h"

#include <zmu/localize/ResourceModule.h>

#include <fmt/core.h>

#include <string_view>

namespace {

// The message is written out again: a spec is one literal.
constexpr std::wstring_view specOf(unsigned int id)
{
    switch (id) {
    case zmu_bench::LoggedSituation:
        return L"2~536870912~2~u`s~||``"
               L"Session %1!u! was started for the user %2!s! by the scheduler.`";
    case zmu_bench::DisplayedSituation:
        return L"2~536870912~2~u`s~|48~``"
               L"Session %1!u! was started for the user %2!s! by the scheduler.`|```";
    case zmu_bench::LargeSituation:
        return L"2~536870912~2~s~||``%1!s!`";
    default:
        return {};
    }
}

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    const std::wstring_view spec = specOf(id);
    SetLastError(spec.empty() ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS);
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

std::string messageText()
{
    return fmt::format("Session {} was started for the user {} by the scheduler.", sessionNumber,
                       "operator");
}

} // namespace zmu_bench
