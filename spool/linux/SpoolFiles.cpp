#include <spool/SpoolFiles.h>
#include <spool/UserNames.h>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

using namespace zmu_spool;
using zmu::u64;

namespace {

constexpr int plainRights = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
constexpr mode_t ownersAlone = 0600;
constexpr mode_t writableByOthers = S_IWGRP | S_IWOTH;

std::string reasonOf(int error)
{
    const char* const words = strerrordesc_np(error);
    return words ? words : "error " + std::to_string(error);
}

int numberOf(SystemFile file)
{
    return static_cast<int>(file);
}

/// A descriptor that is closed with the scope.
struct Descriptor {
    int number;
    ~Descriptor()
    {
        if (number >= 0)
            close(number);
    }
};

struct Closing {
    void operator()(DIR* list) const { closedir(list); }
};

struct Release {
    void operator()(char* bytes) const { std::free(bytes); }
};

/// For a message.
std::string nameOf(uid_t user)
{
    return UserNames().of(std::to_string(user));
}

int readAll(int file, std::string& bytes)
{
    std::size_t got = 0;
    while (got < bytes.size()) {
        const ssize_t count =
            pread(file, bytes.data() + got, bytes.size() - got, static_cast<off_t>(got));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return count < 0 ? errno : EBUSY; // it became shorter
        got += static_cast<std::size_t>(count);
    }
    return 0;
}

int writeAll(int file, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = write(file, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return errno;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

std::string folderOf(const std::string& path)
{
    const std::size_t separator = path.rfind('/');
    return separator == path.npos ? "." : path.substr(0, std::max<std::size_t>(separator, 1));
}

} // namespace

std::string zmu_spool::absoluteFolder(const std::string& path, std::string& why)
{
    const std::unique_ptr<char, Release> real(realpath(path.c_str(), nullptr));
    struct stat status = {};
    if (!real || stat(real.get(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        why = reasonOf(real ? ENOTDIR : errno);
        return {};
    }
    return real.get();
}

std::string zmu_spool::listFolder(const std::string& folder,
                                  const std::function<void(std::string_view)>& take)
{
    const std::unique_ptr<DIR, Closing> list(opendir(folder.c_str()));
    if (!list)
        return reasonOf(errno);
    errno = 0;
    while (const dirent* const entry = readdir(list.get())) {
        take(entry->d_name);
        errno = 0;
    }
    return errno == 0 ? std::string() : reasonOf(errno);
}

bool zmu_spool::measureFile(const std::string& path, u64& size)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    size = static_cast<u64>(status.st_size);
    return true;
}

bool zmu_spool::isRunning(u64 process)
{
    const auto number = static_cast<pid_t>(process);
    return number > 0 && static_cast<u64>(number) == process &&
           (kill(number, 0) == 0 || errno != ESRCH);
}

bool zmu_spool::findUserName(const std::string& user, std::string& name)
{
    uid_t number = 0;
    const auto [end, error] = std::from_chars(user.data(), user.data() + user.size(), number);
    if (error != std::errc() || end != user.data() + user.size())
        return false;
    std::vector<char> memory(1024);
    passwd entry = {};
    passwd* found = nullptr;
    // First without the services of the machine: the C library does not survive it where it has no
    // memory to look for these.
    if (std::FILE* const users = std::fopen("/etc/passwd", "re")) {
        while (fgetpwent_r(users, &entry, memory.data(), memory.size(), &found) == 0 &&
               entry.pw_uid != number) {
        }
        std::fclose(users);
    } else if (errno == ENOMEM) {
        return false;
    }
    if (!found) {
        while (getpwuid_r(number, &entry, memory.data(), memory.size(), &found) == ERANGE)
            memory.resize(2 * memory.size());
    }
    if (found)
        name = entry.pw_name;
    return found;
}

// ---- A file that is read ---------------------------------------------------------------------------------

SpoolHandle::SpoolHandle(const std::string& path) : m_path(path)
{
    const int file = open(m_path.c_str(), O_RDONLY | plainRights);
    struct stat status = {};
    const int error = file < 0 || fstat(file, &status) != 0 ? errno : 0;
    if (error == 0 && S_ISREG(status.st_mode)) {
        m_file = file;
        return;
    }
    if (file >= 0)
        close(file);
    m_isMissing = error == ENOENT;
    // A link is refused as one too many, a socket as an address that is missing.
    m_why = error == 0 || error == ELOOP || error == ENXIO ? "it is no file" : reasonOf(error);
}

SpoolHandle::~SpoolHandle()
{
    if (isOpen())
        close(numberOf(m_file));
}

u64 SpoolHandle::size() const
{
    struct stat status = {};
    return fstat(numberOf(m_file), &status) == 0 ? static_cast<u64>(status.st_size) : 0;
}

std::string SpoolHandle::user() const
{
    struct stat status = {};
    return fstat(numberOf(m_file), &status) == 0 ? std::to_string(status.st_uid) : std::string();
}

std::string SpoolHandle::distrust(const std::string& folder) const
{
    struct stat file = {};
    struct stat place = {};
    if (fstat(numberOf(m_file), &file) != 0 || stat(folder.c_str(), &place) != 0)
        return reasonOf(errno);
    if (file.st_mode & writableByOthers)
        return "others than its owner, " + nameOf(file.st_uid) +
               ", may write it: take that right from them (chmod go-w), and see what is in it";
    if (file.st_nlink > 1)
        return "it has other names, too: remove those";
    if (place.st_uid != 0 && place.st_uid != geteuid() && place.st_uid != file.st_uid)
        return "its folder belongs to " + nameOf(place.st_uid) +
               ", who could change its name: a folder for several users belongs to root, or to who "
               "collects";
    if ((place.st_mode & writableByOthers) && !(place.st_mode & S_ISVTX))
        return "others could change its name: take from them the right to write its folder (chmod "
               "go-w), or keep them from each other's files there (chmod +t)";
    return {};
}

std::size_t SpoolHandle::read(u64 position, char* bytes, std::size_t size, std::string& why) const
{
    std::size_t got = 0;
    while (got < size) {
        const ssize_t count =
            pread(numberOf(m_file), bytes + got, size - got, static_cast<off_t>(position + got));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            why = reasonOf(errno);
        if (count <= 0)
            break;
        got += static_cast<std::size_t>(count);
    }
    return got;
}

bool SpoolHandle::isWriterGone() const
{
    if (flock(numberOf(m_file), LOCK_SH | LOCK_NB) != 0)
        return false;
    flock(numberOf(m_file), LOCK_UN);
    return true;
}

std::string zmu_spool::removeSpoolFile(const std::string& path, u64 size, const std::string& user)
{
    const Descriptor file{open(path.c_str(), O_RDONLY | plainRights)};
    if (file.number < 0)
        return errno == ENOENT ? std::string() : reasonOf(errno);
    if (flock(file.number, LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK ? "a process still has it" : reasonOf(errno);
    struct stat opened = {};
    struct stat named = {};
    if (fstat(file.number, &opened) != 0 || lstat(path.c_str(), &named) != 0)
        return reasonOf(errno);
    if (opened.st_ino != named.st_ino || opened.st_dev != named.st_dev ||
        std::to_string(opened.st_uid) != user)
        return "it is another file now";
    if (static_cast<u64>(opened.st_size) != size)
        return "it has another size now";
    return unlink(path.c_str()) == 0 ? std::string() : reasonOf(errno);
}

// ---- Files of the reader's own ---------------------------------------------------------------------------

std::string zmu_spool::replaceFile(const std::string& path, std::string_view bytes)
{
    const std::string fresh = path + ".new";
    int error = 0;
    {
        const Descriptor file{open(
            fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, ownersAlone)};
        if (file.number < 0)
            return reasonOf(errno);
        error = writeAll(file.number, bytes);
        if (error == 0 && fsync(file.number) != 0)
            error = errno;
    }
    if (error == 0 && rename(fresh.c_str(), path.c_str()) != 0)
        error = errno;
    if (error != 0) {
        unlink(fresh.c_str());
        return reasonOf(error);
    }
    // The name is on the disk with the folder. Where a folder cannot be synchronised that is how
    // the file system is, and nothing that could be done better here.
    const Descriptor folder{open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (folder.number >= 0)
        fsync(folder.number);
    return {};
}

std::string zmu_spool::readWholeFile(const std::string& path, std::size_t sizeMax,
                                     std::string& bytes, bool& isMissing)
{
    const Descriptor file{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
    struct stat status = {};
    isMissing = file.number < 0 && errno == ENOENT;
    if (isMissing)
        return {};
    if (file.number < 0 || fstat(file.number, &status) != 0)
        return reasonOf(errno);
    if (!S_ISREG(status.st_mode) || static_cast<u64>(status.st_size) > sizeMax)
        return "it is no file, or far too large";
    bytes.resize(static_cast<std::size_t>(status.st_size));
    const int error = readAll(file.number, bytes);
    return error == 0 ? std::string() : reasonOf(error);
}

std::string zmu_spool::syncFile(const std::string& path)
{
    const Descriptor file{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.number < 0)
        return errno == ENOENT ? std::string() : reasonOf(errno); // taken away meanwhile
    // What cannot be synchronised, as a pipe or some file systems, has no disk to bring it to.
    if (fdatasync(file.number) != 0 && errno != EINVAL && errno != ENOSYS)
        return reasonOf(errno);
    return {};
}

SystemFile zmu_spool::lockFile(const std::string& path)
{
    const int file =
        open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, ownersAlone);
    if (file < 0)
        throw std::runtime_error(path + " cannot be made: " + reasonOf(errno));
    if (flock(file, LOCK_EX | LOCK_NB) == 0)
        return file;
    const int error = errno;
    close(file);
    if (error != EWOULDBLOCK)
        throw std::runtime_error(path + " cannot be locked: " + reasonOf(error));
    return noSystemFile;
}

void zmu_spool::unlockFile(SystemFile lock)
{
    if (lock != noSystemFile)
        close(numberOf(lock));
}
