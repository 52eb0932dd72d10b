#include <zmu/platform/TemporaryFiles.h>

#include <zmu/platform/Paths.h>
#include <zmu/platform/Win32.h>

#include <string>
#include <string_view>

bool zmu::makeNameless(int)
{
    return false;
}

void zmu::removeLeftFiles(const wchar_t* beginning)
{
    std::wstring folder = beginning;
    while (!folder.empty() && !isPathSeparator(folder.back()))
        folder.pop_back();
    const std::size_t nameLength = std::wstring_view(beginning).size() - folder.size() + 6;
    WIN32_FIND_DATAW found = {};
    const HANDLE search = FindFirstFileW((std::wstring(beginning) + L"??????").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return;
    do {
        // One that is open is not shared for deletion, and refuses.
        if (!(found.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) &&
            std::wstring_view(found.cFileName).size() == nameLength)
            DeleteFileW((folder + found.cFileName).c_str());
    } while (FindNextFileW(search, &found));
    FindClose(search);
}
