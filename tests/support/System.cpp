#include "System.h"

#include <zmu/foundation/UTL_String.h>
#include <zmu/monitor/Zarn.h>

namespace zmu_test {

bool formatterCompletesLineFeeds()
{
    constexpr ulong32 fromStringAndArray = 0x2400;
    static const bool completes = [] {
        wchar_t text[8] = {};
        u64 none = 0;
        return Zarn::formatMessage(fromStringAndArray, L"\n", text, 8, &none) == 2;
    }();
    return completes;
}

std::string toNarrow(const std::wstring& text)
{
    return UTL_String(text.c_str()).narrowText();
}

} // namespace zmu_test
