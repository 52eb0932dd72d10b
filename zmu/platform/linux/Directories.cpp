// Directories, what the process may do with them, and the user's name.
#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/SystemFiles.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cwchar>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

using namespace zmu;

namespace {

BOOL fail(DWORD error)
{
    SetLastError(error);
    return FALSE;
}

/// Names that the services of the machine gave, which ask networks at times, and end the process
/// when memory is short: nobody is asked twice.
ProcessLock servedNameLock;
uid_t servedUser = 0;
std::string servedName;

std::string nameFromServices(uid_t user)
{
    const std::lock_guard guard(servedNameLock);
    if (!servedName.empty() && servedUser == user)
        return servedName;
    std::vector<char> texts(1024);
    passwd entry{};
    passwd* found = nullptr;
    while (getpwuid_r(user, &entry, texts.data(), texts.size(), &found) == ERANGE)
        texts.resize(2 * texts.size());
    servedName = found && found->pw_name ? found->pw_name : "";
    servedUser = user;
    return servedName;
}

/// Name of the effective user; empty when the machine knows none.
std::string userName()
{
    constexpr std::size_t fileSizeMax = 0x100000;
    const uid_t user = geteuid();
    const std::string name = userNameOf(readSystemFile("/etc/passwd", fileSizeMax), user);
    return name.empty() ? nameFromServices(user) : name;
}

} // namespace

BOOL GetUserNameW(wchar_t* output, DWORD* size)
{
    return withoutThrowing([=]() -> BOOL {
        const std::wstring name = widen(userName());
        if (name.empty())
            return fail(ERROR_FILE_NOT_FOUND);
        const auto length = static_cast<DWORD>(name.size());
        const DWORD room = std::exchange(*size, length + 1);
        if (!output || room < *size)
            return fail(ERROR_INSUFFICIENT_BUFFER);
        std::wmemcpy(output, name.c_str(), *size);
        return TRUE;
    });
}

BOOL CreateDirectoryW(const wchar_t* path, void*)
{
    constexpr mode_t everything = 0777; // less what the process's mask takes away
    return mkdir(NarrowPath(path).c_str(), everything) == 0 || fail(errorOf(errno));
}

int _waccess(const wchar_t* path, int mode)
{
    const int result = access(NarrowPath(path).c_str(), mode);
    if (result != 0)
        SetLastError(errorOf(errno));
    return result;
}

int _wstat64i32(const wchar_t* path, struct _stat64i32* status)
{
    struct stat found = {};
    const int result = stat(NarrowPath(path).c_str(), &found);
    if (result == 0)
        status->st_mode = static_cast<unsigned short>(found.st_mode);
    return result;
}
