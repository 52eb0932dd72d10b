#include <zmu/platform/ModulePlaces.h>

#include <zmu/platform/Win32.h>

#include <iterator>

std::wstring zmu::modulePlaces()
{
    wchar_t program[1024] = {};
    GetModuleFileNameW(nullptr, program, static_cast<DWORD>(std::size(program) - 1));
    const std::wstring path(program);
    return path.substr(0, path.find_last_of(L'\\') + 1) +
           L", the system's folders, the current one, those of PATH";
}
