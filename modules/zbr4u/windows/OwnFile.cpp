#include "../BrandTexts.h"

#include <filesystem>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

std::string zbr4u::textsFile()
{
    constexpr DWORD longestPath = 32768;
    static const char ourOwn = 0;
    HMODULE self = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<const wchar_t*>(&ourOwn), &self))
        return {};
    std::wstring path(longestPath, L'\0');
    path.resize(GetModuleFileNameW(self, path.data(), longestPath));
    if (path.empty())
        return {};
    const std::u8string file =
        std::filesystem::path(path).replace_filename(L"zbr4u.ini").u8string();
    return std::string(file.begin(), file.end());
}
