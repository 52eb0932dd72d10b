#include <zmu/platform/linux/SettingsFile.h>

#include <zmu/platform/Files.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Descriptor.h>
#include <zmu/platform/linux/ModuleFiles.h>
#include <zmu/platform/linux/SettingsReader.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <utility>

using namespace zmu;

namespace {

bool isWritten(int file, std::string_view text)
{
    return writeAt(file, 0, text.data(), static_cast<i64>(text.size())) ==
               static_cast<i64>(text.size()) &&
           fsync(file) == 0;
}

/// Whether no other process has the system's lock on a file: this one has it then. File systems
/// that know no such lock let everybody have it.
bool isFree(int file)
{
    return flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

/// Whether `path` leads to an open file, and not to another one that has taken its place.
bool leadsTo(const std::string& path, int file)
{
    struct stat named = {};
    struct stat opened = {};
    return lstat(path.c_str(), &named) == 0 && fstat(file, &opened) == 0 &&
           named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

/// Whether the process that made a lock file is gone, or the file is too old for any change.
bool isLeftBehind(int file)
{
    constexpr time_t longestChange = 30; // seconds
    struct stat status = {};
    if (fstat(file, &status) != 0)
        return false;
    if (time(nullptr) - status.st_mtim.tv_sec > longestChange)
        return true;
    std::string text(4096, '\0');
    text.resize(static_cast<std::size_t>(
        std::max<i64>(readAt(file, 0, text.data(), static_cast<i64>(text.size())), 0)));
    pid_t process = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), process);
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    return error == std::errc() && process > 0 && *end == '\n' &&
           text.find(std::string("\n") + host + '\n') != text.npos && kill(process, 0) != 0 &&
           errno == ESRCH;
}

/// Removes a lock file that was left behind. It is judged and removed with the system's lock on it,
/// which whoever uses it has, and while its name is still its own.
bool removeLeftBehind(const std::string& path)
{
    const Descriptor left{open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    return left.number >= 0 && isFree(left.number) && isLeftBehind(left.number) &&
           leadsTo(path, left.number) && unlink(path.c_str()) == 0;
}

} // namespace

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
        if (m_descriptor < 0) {
            m_descriptor = open(m_path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
            if (m_descriptor < 0 && errno != EEXIST)
                return;
        }
        if (m_descriptor < 0) {
            if (removeLeftBehind(m_path))
                continue;
        } else if (isFree(m_descriptor)) { // else somebody is about to see that it is in use
            writeAt(m_descriptor, 0, content.data(), static_cast<i64>(content.size()));
            return;
        }
        Sleep(step);
    }
    closeFile(std::exchange(m_descriptor, -1));
}

SettingsLock::~SettingsLock()
{
    if (m_descriptor >= 0 && leadsTo(m_path, m_descriptor))
        unlink(m_path.c_str());
    closeFile(m_descriptor);
}

SettingsChange::SettingsChange(const std::string& name)
{
    const std::unique_ptr<char, void (*)(void*)> target(realpath(name.c_str(), nullptr), std::free);
    if (!target && errno != ENOENT)
        return;
    m_file = target ? target.get() : name;
    m_mayReplace = eaccess(std::string(folderOf(m_file)).c_str(), W_OK | X_OK) == 0;
    if (m_mayReplace)
        m_isAllowed = m_lock.emplace(m_file).isHeld();
    else
        m_isAllowed = eaccess(m_file.c_str(), W_OK) == 0;
}

std::optional<std::string> SettingsChange::read(bool mayBeEmpty) const
{
    const CancellationHold hold;
    return readSettings(m_file, mayBeEmpty);
}

bool SettingsChange::write(const std::string& text)
{
    if (!m_mayReplace) {
        const Descriptor present{open(m_file.c_str(), O_WRONLY | O_CLOEXEC)};
        return present.number >= 0 && isWritten(present.number, text) &&
               resizeFile(present.number, static_cast<i64>(text.size()));
    }
    mode_t rights = 0644;
    struct stat status = {};
    const bool isOld = stat(m_file.c_str(), &status) == 0;
    if (isOld)
        rights = status.st_mode & 07777;
    const std::string fresh = m_file + '.' + std::to_string(getpid());
    unlink(fresh.c_str()); // of a process that had this number and was killed
    const Descriptor made{open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)};
    if (isOld && made.number >= 0 && fchown(made.number, status.st_uid, status.st_gid) != 0)
        rights &= 0777; // somebody else's from now on: not with that one's privileges
    const bool isReady = made.number >= 0 && isWritten(made.number, text) &&
                         fchmod(made.number, rights) == 0 &&
                         rename(fresh.c_str(), m_file.c_str()) == 0;
    if (made.number >= 0 && !isReady)
        unlink(fresh.c_str());
    return isReady;
}
