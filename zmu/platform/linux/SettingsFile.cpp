#include <zmu/platform/linux/SettingsFile.h>

#include <zmu/platform/Files.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/linux/ModuleFiles.h>
#include <zmu/platform/linux/SystemFiles.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>

using namespace zmu;

namespace {

/// A descriptor that is closed with the scope.
struct Descriptor {
    int number;
    ~Descriptor() { closeFile(number); }
};

bool isWritten(int file, std::string_view text)
{
    return writeAt(file, 0, text.data(), static_cast<i64>(text.size())) ==
               static_cast<i64>(text.size()) &&
           fsync(file) == 0;
}

/// Whether the process that made a lock file has left it behind, or it is too old for any change.
bool isLeftBehind(const std::string& path)
{
    constexpr time_t longestChange = 30; // seconds
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        return false; // it is gone
    if (time(nullptr) - status.st_mtim.tv_sec > longestChange)
        return true;
    const std::string text = readSystemFile(path, 4096);
    pid_t process = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), process);
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    return error == std::errc() && process > 0 && *end == '\n' &&
           text.find(std::string("\n") + host + '\n') != text.npos && kill(process, 0) != 0 &&
           errno == ESRCH;
}

} // namespace

std::optional<std::string> zmu::readSettings(const std::string& file)
{
    constexpr i64 sizeMax = 0x100000;
    constexpr int attempts = 10;
    constexpr unsigned step = 10; // milliseconds
    const CancellationHold hold;
    struct stat status = {};
    for (int i = 0; i < attempts; ++i) {
        if (stat(file.c_str(), &status) != 0)
            return errno == ENOENT || errno == ENOTDIR ? std::optional<std::string>("")
                                                       : std::nullopt;
        if (!S_ISREG(status.st_mode) || status.st_size != 0)
            break;
        sleepMilliseconds(step);
    }
    errno = EFBIG;
    if (!S_ISREG(status.st_mode) || status.st_size > sizeMax)
        return std::nullopt;
    const Descriptor present{open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    for (std::size_t size = 0; size < text.size();) {
        const ssize_t count = present.number < 0 ? -1
                                                 : pread(present.number, text.data() + size,
                                                         text.size() - size, off_t(size));
        if (count > 0)
            size += static_cast<std::size_t>(count);
        else if (count == 0)
            errno = EBUSY; // it has become shorter
        if (count == 0 || (count < 0 && errno != EINTR))
            return std::nullopt;
    }
    return text;
}

// ---- Writing ---------------------------------------------------------------------------------------------

SettingsLock::SettingsLock(const std::string& file) : m_path(file + ".lock")
{
    constexpr unsigned step = 10; // milliseconds
    constexpr int attempts = 100;
    const std::string program = programPath();
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    // Process, program, machine: what others want to know of whoever holds it.
    const std::string content =
        std::to_string(getpid()) + '\n' + std::string(fileOf(program)) + '\n' + host + '\n';
    for (int i = 0; i < attempts; ++i) {
        m_descriptor = open(m_path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (m_descriptor >= 0) {
            flock(m_descriptor, LOCK_EX | LOCK_NB);
            writeAt(m_descriptor, 0, content.data(), static_cast<i64>(content.size()));
            return;
        }
        if (errno != EEXIST)
            return;
        if (isLeftBehind(m_path))
            unlink(m_path.c_str());
        else
            sleepMilliseconds(step);
    }
}

SettingsLock::~SettingsLock()
{
    if (m_descriptor < 0)
        return;
    unlink(m_path.c_str());
    closeFile(m_descriptor);
}

bool zmu::replaceSettings(const std::string& name, const std::string& text)
{
    const std::unique_ptr<char, void (*)(void*)> target(realpath(name.c_str(), nullptr), std::free);
    if (!target && errno != ENOENT)
        return false;
    const std::string file = target ? target.get() : name;
    mode_t rights = 0644;
    struct stat status = {};
    const bool isOld = stat(file.c_str(), &status) == 0;
    if (isOld)
        rights = status.st_mode & 07777;
    const std::string folder(folderOf(file));
    if (access(folder.c_str(), W_OK) == 0) {
        const std::string fresh = file + '.' + std::to_string(getpid());
        unlink(fresh.c_str()); // of a process that had this number and was killed
        const Descriptor made{open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)};
        if (isOld && made.number >= 0 && fchown(made.number, status.st_uid, status.st_gid) != 0)
            rights &= 0777; // somebody else's from now on: not with that one's privileges
        const bool isReady = made.number >= 0 && isWritten(made.number, text) &&
                             fchmod(made.number, rights) == 0 &&
                             rename(fresh.c_str(), file.c_str()) == 0;
        if (made.number >= 0 && !isReady)
            unlink(fresh.c_str());
        return isReady;
    }
    const Descriptor present{open(file.c_str(), O_WRONLY | O_CLOEXEC)};
    return present.number >= 0 && isWritten(present.number, text) &&
           resizeFile(present.number, static_cast<i64>(text.size()));
}
