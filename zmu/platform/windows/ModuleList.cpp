#include <zmu/platform/ModuleList.h>

#include <zmu/platform/Machine.h>
#include <zmu/platform/Paths.h>
#include <zmu/platform/Win32.h>

#include <cstring>
#include <iterator>
#include <vector>

namespace zmu::modules {

namespace {

using enum Home;

// clang-format off
constexpr Listed list[] = {
    {L"ad.dll", Program}, {L"aps.exe", Program}, {L"blm.dll", Program}, {L"clipc4.dll", Program},
    {L"clips.dll", Program}, {L"cm.dll", Program}, {L"cm.exe", Program}, {L"cplc4.dll", Program},
    {L"cpls.dll", Program}, {L"cs4.dll", Program}, {L"cs4s3.dll", Program}, {L"cs4u.dll", Program},
    {L"dc4.dll", Program}, {L"ds.dll", Program}, {L"filec4.dll", Program}, {L"files.dll", Program},
    {L"ga.dll", Program}, {L"zgdd.dll", System}, {L"zglocress.dll", Program}, {L"zgperf.dll", System},
    {L"ZrPrintMon.dll", Program}, {L"zgse.sys", Drivers}, {L"ZGSetupHelper.dll", Program}, {L"zg-client.exe", Program},
    {L"Logon.exe", Program}, {L"zbr4.dll", Program}, {L"zbr4u.dll", Program}, {L"zmu.dll", Program},
    {L"ZrPrintClient.dll", Program}, {L"pv.dll", Program}, {L"pw.dll", Program}, {L"pw.exe", Program},
    {L"Components.dll", Program}, {L"sc4.dll", Program}, {L"scres4.dll", Program}, {L"smc.dll", Program},
    {L"skin.dll", Program}, {L"sms.dll", Program}, {L"sndc4.dll", Program}, {L"snds.dll", Program},
    {L"lmgrd.exe", Program}, {L"lmtools.exe", Program}, {L"advapi32.dll", System}, {L"comctl32.dll", System},
    {L"comdlg32.dll", System}, {L"kernel32.dll", System}, {L"ole32.dll", System}, {L"pdh.dll", System},
    {L"psapi.dll", System}, {L"shell32.dll", System}, {L"wsock32.dll", System}, {L"user32.dll", System},
    {L"gdi32.dll", System}, {L"ntdll.dll", System}, {L"VBM_UserMode.DLL", Program}, {nullptr, System},
    {L"VBM_NTOSKRNL.SYS", Drivers}, {L"win32k.sys", System}, {L"VBM_WIN32K.SYS", Drivers},
};
// clang-format on
static_assert(std::size(list) == 59);

/// What the system's list of kernel modules consists of.
struct KernelModule {
    HANDLE section;
    void* mappedBase;
    void* imageBase;
    ULONG imageSize;
    ULONG flags;
    USHORT loadOrderIndex;
    USHORT initOrderIndex;
    USHORT loadCount;
    USHORT fileNameOffset;
    char path[256];
};
struct KernelModules {
    ULONG count;
    KernelModule modules[1];
};

/// The list in as much memory as it needs; empty when the system refuses it.
std::vector<char> readKernelModules()
{
    using Query = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);
    constexpr ULONG moduleInformation = 11;
    constexpr auto tooSmall = static_cast<LONG>(0xC0000004);
    constexpr int triesMax = 8; // the list may grow between two calls
    const HMODULE system = GetModuleHandleA("NTDLL.DLL");
    const auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(
        system ? GetProcAddress(system, "ZwQuerySystemInformation") : nullptr));
    if (!query)
        return {};
    std::vector<char> memory(sizeof(KernelModules));
    for (int i = 0; i < triesMax; ++i) {
        ULONG needed = 0;
        const LONG status =
            query(moduleInformation, memory.data(), static_cast<ULONG>(memory.size()), &needed);
        if (status == 0)
            return memory;
        if (status != tooSmall || needed <= memory.size())
            return {};
        memory.resize(needed);
    }
    return {};
}

} // namespace

std::span<const Listed> builtInList()
{
    return list;
}

Listed kernelRow()
{
    return {L"ntoskrnl.exe", System};
}

std::wstring driverDirectory()
{
    const std::wstring system = machine::systemDirectory();
    if (system.empty())
        return {};
    return system + (isPathSeparator(system.back()) ? L"drivers" : L"\\drivers");
}

std::wstring otherDriverFile(const std::wstring&)
{
    return {};
}

std::wstring kernelName()
{
    const std::vector<char> memory = readKernelModules();
    if (memory.size() < sizeof(KernelModules))
        return {};
    const auto* const kernel = reinterpret_cast<const KernelModules*>(memory.data());
    const std::size_t room =
        (memory.size() - offsetof(KernelModules, modules)) / sizeof(KernelModule);
    for (std::size_t i = 0; i < kernel->count && i < room; ++i) {
        const KernelModule& module = kernel->modules[i];
        if (module.loadOrderIndex != 0 || module.fileNameOffset >= sizeof module.path)
            continue;
        const char* const name = module.path + module.fileNameOffset;
        const auto length =
            static_cast<int>(strnlen(name, sizeof module.path - module.fileNameOffset));
        wchar_t wide[sizeof module.path] = {};
        const int count = length == 0 ? 0
                                      : MultiByteToWideChar(CP_ACP, 0, name, length, wide,
                                                            static_cast<int>(std::size(wide)));
        return {wide, static_cast<std::size_t>(count)};
    }
    return {};
}

std::wstring fileName(const std::wstring& module)
{
    return module;
}

struct Finder::Folders {};
Finder::Finder() = default;
Finder::~Finder() = default;

std::wstring Finder::find(const wchar_t* file)
{
    wchar_t path[261] = {};
    const DWORD length =
        SearchPathW(nullptr, file, nullptr, static_cast<DWORD>(std::size(path)), path, nullptr);
    return length < std::size(path) ? std::wstring(path, length) : std::wstring();
}

} // namespace zmu::modules
