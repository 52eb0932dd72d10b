#include "../System.h"

#include "../Spool.h"

#include <zmu/foundation/internal/Utf8.h>
#include <zmu/platform/linux/Descriptor.h>
#include <zmu/platform/linux/ErrorChannel.h>
#include <zmu/platform/linux/FileSizeLimit.h>
#include <zmu/platform/linux/SettingsReader.h>
#include <zmu/platform/linux/SettingsText.h>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

using namespace cs4s3;
using zmu::Descriptor;

namespace {

constexpr i64 nanosecondsOfSecond = 1'000'000'000;

i64 timeBy(clockid_t clock)
{
    timespec moment{};
    clock_gettime(clock, &moment);
    return moment.tv_sec * nanosecondsOfSecond + moment.tv_nsec;
}

// ---- The process ---------------------------------------------------------------------------------

constinit std::mutex s_lock;

/// A child that never reports lets go of its parent's file, too. The parent does not take the lock
/// for a fork: its threads hold others while they wait for it, which the library takes before a
/// fork, in an order of its own.
const int forkWatch = pthread_atfork(nullptr, nullptr, [] { Spool::ofProcess(); });

void widenName(std::string_view name, wchar_t (&wide)[zmu_spool::longestName + 1])
{
    std::size_t length = 0;
    const char* text = name.data();
    for (const char* const end = text + name.size(); text != end;) {
        if (length == zmu_spool::longestName)
            break;
        wide[length++] = static_cast<wchar_t>(zmu::takeUtf8(text, end));
    }
    wide[length] = L'\0';
}

std::size_t readSmallFile(const char* path, char* text, std::size_t size)
{
    const Descriptor file{open(path, O_RDONLY | O_CLOEXEC)};
    const ssize_t count = file.number < 0 ? 0 : read(file.number, text, size);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

/// When this process began, in the system's ticks since the machine did; nothing if it does not
/// tell.
std::optional<u64> startTicks()
{
    char bytes[1024];
    std::string_view text(bytes, readSmallFile("/proc/self/stat", bytes, sizeof bytes));
    // Behind the program's name, which may hold anything, come the third field and so on.
    text.remove_prefix(std::min(text.rfind(')'), text.size()));
    constexpr int fieldsBefore = 20;
    for (int i = 0; i < fieldsBefore; ++i)
        zmu::takePart(text, ' ');
    u64 ticks = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), ticks);
    return error == std::errc() ? std::optional(ticks) : std::nullopt;
}

/// A tick is a hundredth of a second. What is below it is taken from the present, so that the
/// programs that a process runs in turn have starts of their own.
i64 startOfProcess()
{
    const i64 now = timeBy(CLOCK_REALTIME);
    const std::optional<u64> ticks = startTicks();
    if (!ticks)
        return now;
    const i64 tick = nanosecondsOfSecond / sysconf(_SC_CLK_TCK);
    const i64 start = now - timeBy(CLOCK_BOOTTIME) + static_cast<i64>(*ticks) * tick;
    return start - start % tick + now % tick;
}

std::string_view programName(char (&path)[PATH_MAX])
{
    constexpr std::string_view deleted = " (deleted)";
    const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
    if (size <= 0)
        return program_invocation_short_name;
    std::string_view name(path, static_cast<std::size_t>(size));
    if (name.ends_with(deleted))
        name.remove_suffix(deleted.size());
    return name.substr(name.rfind('/') + 1);
}

} // namespace

i64 cs4s3::presentTime()
{
    return timeBy(CLOCK_REALTIME);
}

u64 cs4s3::steadyMilliseconds()
{
    constexpr i64 ofMillisecond = 1'000'000;
    return static_cast<u64>(timeBy(CLOCK_MONOTONIC_COARSE) / ofMillisecond);
}

u64 cs4s3::threadNumber()
{
    return static_cast<u64>(gettid());
}

u64 cs4s3::processNumber()
{
    return static_cast<u64>(getpid());
}

void cs4s3::giveWay()
{
    sched_yield();
}

void cs4s3::describeProcess(zmu_spool::Origin& origin)
{
    char text[PATH_MAX] = {};
    widenName(gethostname(text, sizeof text - 1) == 0 ? text : "", origin.host);
    widenName(programName(text), origin.program);
    origin.process = processNumber();
    origin.start = startOfProcess();
}

Undisturbed::Undisturbed() : m_error(static_cast<unsigned long>(errno))
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_cancelState);
}

Undisturbed::~Undisturbed()
{
    pthread_setcancelstate(m_cancelState, nullptr);
    errno = static_cast<int>(m_error);
}

void SpoolGuard::forget()
{
    std::construct_at(&s_lock);
}

SpoolGuard::SpoolGuard() : m_isHeld(true)
{
    s_lock.lock();
}

SpoolGuard::~SpoolGuard()
{
    s_lock.unlock();
}

void cs4s3::tell(const char* line)
{
    zmu::WriteSignalsHold hold;
    if (zmu::ErrorChannel().put(line, std::strlen(line)) < 0)
        hold.noteFailure();
}

void cs4s3::explain(int error, char* text, std::size_t size)
{
    const char* const words = strerrordesc_np(error);
    std::snprintf(text, size, "%s (%d)", words ? words : "error", error);
}

// ---- Settings ------------------------------------------------------------------------------------

namespace {

/// The settings of the machine that concern the spool.
struct MachineSettings {
    std::optional<std::string> folder;
    std::optional<std::string> fileSize;
    std::optional<std::string> folderSize;
};

/// Raises the system's number for why a file that is there cannot be read whole.
MachineSettings readMachineSettings()
{
    MachineSettings settings;
    for (const std::string& file :
         zmu::settingsFiles(secure_getenv("XDG_CONFIG_DIRS"), "Quorvane", "Farrowlink")) {
        const std::optional<std::string> text = zmu::readSettings(file);
        if (!text)
            throw errno;
        if (!zmu::isSettingsText(*text))
            throw EINVAL;
        const auto take = [&](std::optional<std::string>& value, const char* name) {
            if (!value)
                value = zmu::findSetting(*text, "Spool", name);
        };
        take(settings.folder, "Folder");
        take(settings.fileSize, "FileSize");
        take(settings.folderSize, "FolderSize");
    }
    return settings;
}

bool isUsable(const char* folder)
{
    struct stat status = {};
    return stat(folder, &status) == 0 && S_ISDIR(status.st_mode) &&
           eaccess(folder, R_OK | W_OK | X_OK) == 0;
}

/// The user's own folder, which is made; empty if the user has none.
std::string usersFolder()
{
    constexpr mode_t rights = 0700;
    const char* const state = secure_getenv("XDG_STATE_HOME");
    const char* const home = secure_getenv("HOME");
    std::string folder;
    if (state && *state == '/')
        folder = state;
    else if (home && *home == '/')
        folder = std::string(home) + "/.local/state";
    else
        return {};
    folder += "/zmu";
    for (std::size_t end = 1; end != folder.npos;) {
        end = folder.find('/', end + 1);
        mkdir(folder.substr(0, end).c_str(), rights);
    }
    return folder;
}

} // namespace

Obstacle cs4s3::obtainSettings(Settings& settings)
{
    constexpr char sharedFolder[] = "/var/spool/zmu";
    MachineSettings machine;
    try {
        machine = readMachineSettings();
    } catch (int error) {
        return {"the machine's settings cannot be read", error};
    }
    if ((machine.fileSize && !readSize(machine.fileSize->c_str(), settings.fileSize)) ||
        (machine.folderSize && !readSize(machine.folderSize->c_str(), settings.folderSize)))
        return {"FileSize or FolderSize of the machine's settings is no number of bytes", 0};

    std::string folder;
    const char* const set = secure_getenv("ZMU_SPOOL");
    if (set && *set)
        folder = set;
    else if (machine.folder)
        folder = *machine.folder;
    else if (isUsable(sharedFolder))
        folder = sharedFolder;
    else
        folder = usersFolder();
    while (folder.size() > 1 && folder.ends_with('/'))
        folder.pop_back();
    if (!folder.starts_with('/') || folder.size() >= Settings::pathQty)
        return {"no absolute path of a spool folder is set", 0};
    std::memcpy(settings.folder, folder.c_str(), folder.size() + 1);
    return {};
}

// ---- Files ---------------------------------------------------------------------------------------

namespace {

template <std::size_t Size>
void composePath(char (&path)[Size], const char* folder, const char* name)
{
    std::snprintf(path, Size, "%s/%s", folder, name);
}

/// What a file takes of its folder: no more than its blocks, as one with holes in it has fewer
/// bytes than its size tells, and at most a page beyond them that is not written out yet.
u64 bytesOnDisk(const struct stat& status)
{
    constexpr u64 blockQty = 512;
    const u64 unit = std::max<u64>(static_cast<u64>(status.st_blksize), blockQty);
    return std::min(static_cast<u64>(status.st_size),
                    static_cast<u64>(status.st_blocks) * blockQty + unit);
}

} // namespace

int cs4s3::measureFolder(const char* folder, FolderUse& use)
{
    const Descriptor directory{open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (directory.number < 0)
        return errno;
    const time_t now = time(nullptr);
    alignas(dirent64) char entries[0x2000];
    while (true) {
        const ssize_t size = getdents64(directory.number, entries, sizeof entries);
        if (size <= 0)
            return size < 0 ? errno : 0;
        for (ssize_t at = 0; at < size;) {
            const auto& entry = *reinterpret_cast<const dirent64*>(entries + at);
            at += entry.d_reclen;
            struct stat status = {};
            if (!zmu_spool::isSpoolName(entry.d_name) ||
                fstatat(directory.number, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
                !S_ISREG(status.st_mode))
                continue;
            use.add(entry.d_name, bytesOnDisk(status), now - status.st_mtim.tv_sec);
        }
    }
}

int cs4s3::createFile(const char* folder, const char* name, std::atomic<File>& file)
{
    constexpr mode_t rights = 0640;
    char path[Settings::pathQty + zmu_spool::fileNameQty];
    composePath(path, folder, name);
    file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY,
                rights);
    if (file == noFile)
        return errno;
    const auto number = static_cast<int>(file);
    // The group reads it whatever the host's mask says. Who finds it unlocked takes its process for
    // one that has gone, and may have removed it.
    fchmod(number, rights);
    const int error = flock(number, LOCK_EX | LOCK_NB) != 0 ? errno : isNamed(file) ? 0 : EEXIST;
    if (error != 0)
        closeFile(file);
    return error == EWOULDBLOCK ? EEXIST : error;
}

void cs4s3::closeFile(std::atomic<File>& file)
{
    // In this order: a child that is forked off in between must not close a number that has come to
    // mean another file.
    if (const File closed = file.exchange(noFile); closed != noFile)
        close(static_cast<int>(closed));
}

void cs4s3::removeFile(const char* folder, const char* name)
{
    char path[Settings::pathQty + zmu_spool::fileNameQty];
    composePath(path, folder, name);
    unlink(path);
}

void cs4s3::giveSign(File file)
{
    const timespec times[] = {{0, UTIME_OMIT}, {0, UTIME_NOW}};
    futimens(static_cast<int>(file), times);
}

bool cs4s3::isNameTaken(int error)
{
    return error == EEXIST;
}

bool cs4s3::isForWantOfRoom(int error)
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

u64 cs4s3::fileSizeLimit()
{
    return zmu::readFileSizeLimit();
}

std::size_t cs4s3::appendTo(File file, const char* bytes, std::size_t size, int& error)
{
    ssize_t written = 0;
    do {
        written = write(static_cast<int>(file), bytes, size);
    } while (written < 0 && errno == EINTR);
    error = written < 0 ? errno : ENOSPC;
    return written < 0 ? 0 : static_cast<std::size_t>(written);
}

bool cs4s3::cutBack(File file, std::size_t size)
{
    struct stat status = {};
    const auto number = static_cast<int>(file);
    return fstat(number, &status) == 0 && status.st_size >= static_cast<off_t>(size) &&
           ftruncate(number, status.st_size - static_cast<off_t>(size)) == 0;
}

bool cs4s3::isNamed(File file)
{
    struct stat status = {};
    return fstat(static_cast<int>(file), &status) == 0 && status.st_nlink != 0;
}
