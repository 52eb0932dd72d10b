#include <zmu/platform/Files.h>

#include <zmu/platform/linux/Conversion.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

using namespace zmu;

namespace {

/// The limits of a file's size. The C library asks by way of prlimit, which takes more than twice
/// as long as the call that is made for the own process.
bool readFileSizeLimit(rlimit& limit)
{
#if defined(SYS_getrlimit) && defined(__LP64__) // else the kernel's numbers are narrower than ours
    return syscall(SYS_getrlimit, RLIMIT_FSIZE, &limit) == 0;
#else
    return getrlimit(RLIMIT_FSIZE, &limit) == 0;
#endif
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
    if (stat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return failToOpen(S_ISDIR(status.st_mode) ? EISDIR : EEXIST); // not even opened
    const int file = open(name.c_str(),
                          flags[static_cast<int>(use)] | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, rights);
    if (file < 0)
        return failToOpen(errno);
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode))
        return file;
    close(file);
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
    rlimit limit{};
    if (!readFileSizeLimit(limit) || limit.rlim_cur == RLIM_INFINITY)
        return std::numeric_limits<u64>::max();
    return limit.rlim_cur;
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
