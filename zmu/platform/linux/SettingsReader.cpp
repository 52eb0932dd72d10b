#include <zmu/platform/linux/SettingsReader.h>

#include <zmu/platform/linux/Descriptor.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

using namespace zmu;

namespace {

bool isChanged(const struct stat& before, const struct stat& after)
{
    return before.st_size != after.st_size || before.st_mtim.tv_sec != after.st_mtim.tv_sec ||
           before.st_mtim.tv_nsec != after.st_mtim.tv_nsec;
}

/// Reads a file as it was at one moment. The error of the C library: EBUSY for one that was written
/// to meanwhile, EFBIG for what is no file of settings.
int readAtOnce(const std::string& file, std::string& text)
{
    constexpr off_t sizeMax = 0x100000;
    struct stat before = {};
    struct stat after = {};
    if (stat(file.c_str(), &before) == 0 && !S_ISREG(before.st_mode))
        return EFBIG; // not even opened
    // What replaces the file from here on is another one.
    const Descriptor present{open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    if (present.number < 0 || fstat(present.number, &before) != 0)
        return errno;
    if (!S_ISREG(before.st_mode) || before.st_size > sizeMax)
        return EFBIG;
    text.resize(static_cast<std::size_t>(before.st_size));
    const ssize_t count = pread(present.number, text.data(), text.size(), 0);
    if (count < 0 || fstat(present.number, &after) != 0)
        return errno;
    return count != before.st_size || isChanged(before, after) ? EBUSY : 0;
}

} // namespace

std::optional<std::string> zmu::readSettings(const std::string& file, bool mayBeEmpty)
{
    constexpr int attempts = 10;
    constexpr timespec step{0, 10'000'000};
    std::string text;
    for (int i = 0;; ++i) {
        const int error = readAtOnce(file, text);
        if (error == ENOENT || error == ENOTDIR)
            return "";
        const bool isUnsettled =
            error == EBUSY || error == EINTR || (error == 0 && text.empty() && !mayBeEmpty);
        if (isUnsettled && i < attempts) {
            nanosleep(&step, nullptr);
            continue;
        }
        errno = error;
        return error == 0 ? std::optional(std::move(text)) : std::nullopt;
    }
}
