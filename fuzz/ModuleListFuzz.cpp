// The list of modules that a product puts in the place of the built-in one, zmu-modules.txt.
#include "Support.h"

#include <zmu/platform/Win32.h>
#include <zmu/sysinfo/internal/ModuleTable.h>

#include <cwchar>

using namespace zmu_fuzz;

// In the place of the platform's: lines that are passed over are told, by the list's name.
void OutputDebugStringW(const wchar_t* text)
{
    FUZZ_CHECK(std::wcsncmp(text, L"list, line ", 11) == 0);
}

DWORD GetModuleFileNameW(HMODULE, wchar_t*, DWORD)
{
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t rowsMax = 1000;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::vector<zmu::ModuleTable::Row> rows = zmu::parseModuleList(text, L"list");
    FUZZ_CHECK(rows.size() <= rowsMax);
    for (const zmu::ModuleTable::Row& row : rows) {
        FUZZ_CHECK(row.file.find(L'\0') == row.file.npos);
        FUZZ_CHECK(!row.file.empty() || row.home == zmu::modules::Home::System);
    }
    // A row more is one more, whatever stands before it.
    const auto more = zmu::parseModuleList(text + "\nprogram /last\n", L"list");
    if (rows.size() < rowsMax)
        FUZZ_CHECK(more.size() == rows.size() + 1 && more.back().file == L"/last");
    return 0;
}
