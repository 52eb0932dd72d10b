// What the sources under test call of Win32, in the place of the platform's.
#include <zmu/platform/Win32.h>

#include <QFile>
#include <QString>

#include <cstdio>

int _waccess(const wchar_t* path, int)
{
    return QFile::exists(QString::fromWCharArray(path)) ? 0 : -1;
}

DWORD GetModuleFileNameW(HMODULE, wchar_t*, DWORD)
{
    return 0;
}

void OutputDebugStringW(const wchar_t* text)
{
    std::fputs(QString::fromWCharArray(text).toUtf8(), stderr);
}
