#include <zmu/platform/Files.h>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

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

} // namespace

u64 zmu::fileSizeLimit()
{
    rlimit limit{};
    if (!readFileSizeLimit(limit) || limit.rlim_cur == RLIM_INFINITY)
        return std::numeric_limits<u64>::max();
    return limit.rlim_cur;
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
