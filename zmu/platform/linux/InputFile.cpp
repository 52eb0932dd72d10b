#include <zmu/platform/InputFile.h>

#include <zmu/platform/linux/Conversion.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <limits>

namespace {

/// Nothing for a moment before 1601, and for one beyond what a file time can be.
FILETIME fileTime(const timespec& time)
{
    constexpr i64 ticksPerSecond = 10'000'000;
    constexpr i64 secondsFrom1601 = 11'644'473'600;
    constexpr i64 nanosecondsPerTick = 100;
    constexpr i64 secondsMax = std::numeric_limits<i64>::max() / ticksPerSecond - secondsFrom1601;
    if (time.tv_sec < -secondsFrom1601 || time.tv_sec >= secondsMax)
        return {};
    const u64 ticks = static_cast<u64>(time.tv_sec + secondsFrom1601) * ticksPerSecond +
                      static_cast<u64>(time.tv_nsec / nanosecondsPerTick);
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

} // namespace

bool zmu::InputFile::open(const wchar_t* path)
{
    return open(narrow(path));
}

bool zmu::InputFile::open(const std::string& path)
{
    close();
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        return false;
    m_handle = file;
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        close();
        return false;
    }
    m_size = static_cast<u64>(status.st_size);
    m_lastWriteTime = fileTime(status.st_mtim);
    return true;
}

void zmu::InputFile::close()
{
    if (isOpen())
        ::close(static_cast<int>(m_handle));
    m_handle = none;
    m_size = 0;
    m_lastWriteTime = {};
}

bool zmu::InputFile::read(u64 offset, void* target, std::size_t size) const
{
    if (!isOpen() || !holds(offset, size))
        return false;
    auto* bytes = static_cast<char*>(target);
    while (size != 0) {
        const ssize_t count =
            pread(static_cast<int>(m_handle), bytes, size, static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        bytes += count;
        offset += static_cast<u64>(count);
        size -= static_cast<std::size_t>(count);
    }
    return true;
}
