// Directories, what the process may do with them, and the user's name.
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cwchar>
#include <exception>
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

/// Runs `call` on the path; -1 as from the call itself when memory is short.
template <class Call>
int callWithPath(const wchar_t* path, Call call)
{
    try {
        return call(narrow(path).c_str());
    } catch (const std::exception&) {
        errno = ENOMEM;
        return -1;
    }
}

/// Name of the effective user; empty when the machine knows none.
std::string userName()
{
    std::vector<char> texts(1024);
    passwd entry{};
    passwd* found = nullptr;
    while (getpwuid_r(geteuid(), &entry, texts.data(), texts.size(), &found) == ERANGE)
        texts.resize(2 * texts.size());
    return found && found->pw_name ? found->pw_name : "";
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
    if (callWithPath(path, [](const char* name) { return mkdir(name, everything); }) == 0)
        return TRUE;
    switch (errno) {
    case ENOENT:
    case ENOTDIR:
        return fail(ERROR_PATH_NOT_FOUND);
    case EEXIST:
        return fail(ERROR_ALREADY_EXISTS);
    case ENOMEM:
        return fail(ERROR_NOT_ENOUGH_MEMORY);
    case EROFS:
        return fail(ERROR_WRITE_PROTECT);
    case ENOSPC:
    case EDQUOT:
        return fail(ERROR_DISK_FULL);
    case ENAMETOOLONG:
    case ELOOP:
        return fail(ERROR_FILENAME_EXCED_RANGE);
    default:
        return fail(ERROR_ACCESS_DENIED);
    }
}

int _waccess(const wchar_t* path, int mode)
{
    return callWithPath(path, [mode](const char* name) { return access(name, mode); });
}

int _wstat64i32(const wchar_t* path, struct _stat64i32* status)
{
    struct stat found = {};
    const int result = callWithPath(path, [&](const char* name) { return stat(name, &found); });
    if (result == 0)
        status->st_mode = static_cast<unsigned short>(found.st_mode);
    return result;
}
