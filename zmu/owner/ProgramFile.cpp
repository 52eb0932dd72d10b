#include <zmu/owner/internal/ProgramFile.h>

#include <zmu/platform/Win32.h>

#include <QCoreApplication>
#include <QFileInfo>

#include <vector>

QString zmu::programFilePath()
{
    // Without an application Qt knows no path and complains.
    if (QCoreApplication::instance())
        return QCoreApplication::applicationFilePath();
    constexpr DWORD longestPath = 32768;
    std::vector<wchar_t> path(longestPath);
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), longestPath);
    if (length == 0 || length >= longestPath)
        return {};
    return QString::fromWCharArray(path.data(), static_cast<qsizetype>(length));
}

QString zmu::programDirPath()
{
    if (QCoreApplication::instance())
        return QCoreApplication::applicationDirPath();
    const QString file = programFilePath();
    return file.isEmpty() ? file : QFileInfo(file).path();
}
