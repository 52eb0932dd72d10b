#include <zmu/owner/internal/ProgramFile.h>

#include <zmu/platform/Paths.h>
#include <zmu/platform/Win32.h>

#include <QCoreApplication>

#include <algorithm>

using namespace zmu;

namespace {

/// The program's file, with slashes.
std::wstring programFile()
{
    // Without an application Qt knows no path and complains.
    if (QCoreApplication::instance())
        return QCoreApplication::applicationFilePath().toStdWString();
    constexpr DWORD longestPath = 32768;
    for (DWORD size = 512; size <= longestPath; size *= 2) {
        std::wstring path(size, L'\0');
        const DWORD length = GetModuleFileNameW(nullptr, path.data(), size);
        if (length < size) {
            path.resize(length);
            std::replace_if(path.begin(), path.end(), isPathSeparator, L'/');
            return path;
        }
    }
    return {};
}

} // namespace

std::wstring zmu::programFileName()
{
    const std::wstring file = programFile();
    return file.substr(file.rfind(L'/') + 1);
}

std::wstring zmu::programDirectory()
{
    return parentOf(programFile());
}

std::wstring zmu::parentOf(const std::wstring& path)
{
    const std::size_t separator = path.rfind(L'/');
    if (separator == path.npos)
        return path.empty() ? path : L".";
    const bool isRoot = separator == 0 || path[separator - 1] == L':';
    return path.substr(0, separator + isRoot);
}
