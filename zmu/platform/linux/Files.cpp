#include <zmu/platform/Files.h>

#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/FileSizeLimit.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

using namespace zmu;

namespace {

FileIdentity identityFrom(const struct stat& status)
{
    return {status.st_dev, status.st_ino, status.st_nlink, status.st_size};
}

bool isTrustedOwner(const struct stat& status)
{
    return status.st_uid == 0 || status.st_uid == geteuid();
}

int failToOpen(int error)
{
    SetLastError(errorOf(error));
    return -1;
}

} // namespace

int zmu::openFile(const wchar_t* path, FileUse use)
{
    constexpr int flags[] = {O_RDONLY, O_RDWR | O_CREAT, O_RDWR | O_CREAT | O_EXCL};
    constexpr mode_t rights = 0666; // less what the process's mask takes away
    const NarrowPath name(path);
    struct stat status = {};
    const bool wasThere = stat(name.c_str(), &status) == 0;
    if (wasThere && !S_ISREG(status.st_mode))
        return failToOpen(S_ISDIR(status.st_mode) ? EISDIR : EEXIST); // not even opened
    const int file = open(name.c_str(),
                          flags[static_cast<int>(use)] | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, rights);
    if (file < 0)
        return failToOpen(errno);
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode))
        return file;
    close(file);
    if (use != FileUse::Read && !wasThere)
        removeIfEmpty(path); // nobody would know of it
    return failToOpen(EEXIST);
}

void zmu::closeFile(int file)
{
    if (file >= 0)
        close(file);
}

i64 zmu::sizeOf(int file)
{
    struct stat status = {};
    return fstat(file, &status) == 0 ? status.st_size : -1;
}

bool zmu::resizeFile(int file, i64 size)
{
    return ftruncate(file, size) == 0;
}

u64 zmu::fileSizeLimit()
{
    return readFileSizeLimit();
}

i64 zmu::readAt(int file, i64 position, char* data, i64 size)
{
    i64 count = 0;
    while (count < size) {
        const ssize_t piece =
            pread(file, data + count, static_cast<std::size_t>(size - count), position + count);
        if (piece > 0)
            count += piece;
        else if (piece == 0)
            break;
        else if (errno != EINTR)
            return -1;
    }
    return count;
}

i64 zmu::writeAt(int file, i64 position, const char* data, i64 size)
{
    i64 written = 0;
    while (written < size) {
        const ssize_t count = pwrite(file, data + written, static_cast<std::size_t>(size - written),
                                     position + written);
        if (count > 0)
            written += count;
        else if (count == 0 || errno != EINTR)
            break;
    }
    return written;
}

FileIdentity zmu::identityOf(int file)
{
    struct stat status = {};
    return fstat(file, &status) == 0 ? identityFrom(status) : FileIdentity{};
}

FileIdentity zmu::identityOf(const wchar_t* path)
{
    struct stat status = {};
    return stat(NarrowPath(path).c_str(), &status) == 0 ? identityFrom(status) : FileIdentity{};
}

int zmu::duplicateFile(int file)
{
    return fcntl(file, F_DUPFD_CLOEXEC, 0);
}

const wchar_t* zmu::whyDistrusted(int file, const wchar_t* path)
{
    NarrowPath name(path);
    char* const lastSeparator = std::strrchr(name.writable(), '/');
    const char* entry = name.c_str();
    const char* folder = ".";
    if (lastSeparator) {
        entry = lastSeparator + 1;
        folder = lastSeparator == name.c_str() ? "/" : name.c_str();
        *lastSeparator = '\0';
    }
    struct stat opened = {};
    struct stat held = {};
    struct stat present = {};
    struct stat link = {};
    const int directory = open(folder, O_PATH | O_DIRECTORY | O_CLOEXEC);
    const bool isKnown = directory >= 0 && fstat(file, &opened) == 0 &&
                         fstat(directory, &held) == 0 &&
                         fstatat(directory, entry, &present, 0) == 0 &&
                         fstatat(directory, entry, &link, AT_SYMLINK_NOFOLLOW) == 0;
    closeFile(directory);
    if (!isKnown || !identityFrom(opened).isSameFile(identityFrom(present)))
        return L"it was replaced while it was opened";
    if (!isTrustedOwner(opened))
        return L"it belongs to another user";
    if (opened.st_mode & S_IWOTH)
        return L"everybody may write it";
    if ((held.st_mode & S_IWOTH) && !(held.st_mode & S_ISVTX))
        return L"everybody may write in its folder";
    if (held.st_mode & S_IWOTH)
        return isTrustedOwner(link) ? nullptr
                                    : L"its name in a folder for everybody is another user's";
    return isTrustedOwner(held) ? nullptr : L"its folder belongs to another user";
}

bool zmu::isThere(const wchar_t* path)
{
    struct stat status = {};
    return lstat(NarrowPath(path).c_str(), &status) == 0;
}

void zmu::removeIfEmpty(const wchar_t* path)
{
    const NarrowPath name(path);
    struct stat status = {};
    if (lstat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0)
        unlink(name.c_str());
}

DirectoryState zmu::directoryState(const wchar_t* path)
{
    const NarrowPath name(path);
    struct stat status = {};
    if (stat(name.c_str(), &status) != 0)
        return errno == EACCES    ? DirectoryState::NoRight
               : errno == ENOTDIR ? DirectoryState::NoDirectory
                                  : DirectoryState::Missing;
    if (!S_ISDIR(status.st_mode))
        return DirectoryState::NoDirectory;
    return eaccess(name.c_str(), W_OK | X_OK) == 0 ? DirectoryState::Usable
                                                   : DirectoryState::NoRight;
}
