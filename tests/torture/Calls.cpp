// Each call to the system that the library makes fails, once, with each error that it can give.
//
// The calls are caught where they leave the library: in the table of addresses by which libzmu.so
// finds what it does not define. So they are the library's alone, and none can be forgotten: what
// the library imports from the C library has a row below, or is known not to ask the system.
#include "Life.h"
#include "Torture.h"

#include <Strings.h>

#include <zmu/notify/ZarnStatusReporter.h>
#include <zmu/notify/zgEL_Reporter.h>

#include <dirent.h>
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

using namespace zmu_test;
using namespace zmu_torture;

namespace {

// ---- Faults ----------------------------------------------------------------------------------------------

constexpr int dialogID = 100;
constexpr int textID = 1000;
constexpr int errandFailed = 40; ///< As a status of a life.

constexpr int cutShort = -1; ///< As an error: the call is made for half of the bytes.

/// What is to fail: the call of that number, 1 being the first, to the function of that row.
struct Fault {
    int row = -1;
    long number = 0;
    int error = 0;
    bool lasts = false; ///< So does each one after it.
};

bool isOn = false;
Fault fault;
std::atomic<long>* calls = nullptr; ///< Of one life, by row; shared with it.
std::map<std::size_t, bool> isCalled;

/// The error that this call is to fail with, 0 for none.
int errorOfThisCall(int row)
{
    if (!isOn || row < 0)
        return 0;
    const long number = ++calls[row];
    const bool fails =
        fault.row == row && (fault.lasts ? number >= fault.number : number == fault.number);
    return fails ? fault.error : 0;
}

template <auto function>
inline int rowOf = -1;

template <class Result>
Result failing(int error)
{
    errno = error;
    if constexpr (std::is_pointer_v<Result>)
        return nullptr;
    else
        return static_cast<Result>(-1);
}

/// Called by the library in the place of `function`. `isMade`: a call that fails does its work all
/// the same, as close does. `returnsError`: the error is the result.
template <auto function, bool isMade, bool returnsError, class Result, class... Arguments>
Result standIn(Arguments... arguments)
{
    const int error = errorOfThisCall(rowOf<function>);
    if (error == 0)
        return function(arguments...);
    if (isMade)
        static_cast<void>(function(arguments...));
    if constexpr (std::is_same_v<Result, ssize_t> && sizeof...(Arguments) >= 3) {
        if (error == cutShort) {
            std::tuple<Arguments...> shorter(arguments...);
            std::get<2>(shorter) = (std::get<2>(shorter) + 1) / 2;
            return std::apply(function, shorter);
        }
    }
    if constexpr (returnsError)
        return error;
    else
        return failing<Result>(error);
}

template <auto function, bool isMade, bool returnsError, class Result, class... Arguments>
void* addressOfStandIn(Result (*)(Arguments...))
{
    return reinterpret_cast<void*>(&standIn<function, isMade, returnsError, Result, Arguments...>);
}

// ---- The calls -------------------------------------------------------------------------------------------

struct Row {
    const char* name;
    std::vector<int> errors;
    void* standIn;
    int* number; ///< Where the stand-in finds which row it is.
};

template <auto function, bool isMade = false, bool returnsError = false>
Row row(const char* name, std::vector<int> errors)
{
    return {name, std::move(errors), addressOfStandIn<function, isMade, returnsError>(function),
            &rowOf<function>};
}

int openFile(const char* path, int flags, mode_t mode)
{
    return open(path, flags, mode);
}

/// That a mapping fails is not said by null.
std::intptr_t mapFile(void* at, std::size_t size, int rights, int flags, int file, off_t from)
{
    return reinterpret_cast<std::intptr_t>(mmap(at, size, rights, flags, file, from));
}

int control(int file, int command, void* argument)
{
    return fcntl(file, command, argument);
}

long systemCall(long number, long first, long second, long third, long fourth, long fifth)
{
    return syscall(number, first, second, third, fourth, fifth);
}

const std::vector<int> pathErrors = {EACCES, ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, ENOMEM, EIO};
const std::vector<int> makingErrors = {EACCES, ENOENT, EEXIST, EMFILE, ENFILE, ENOSPC,
                                       EDQUOT, EROFS,  EINTR,  ENOMEM, EIO,    EPERM};
const std::vector<int> writeErrors = {ENOSPC, EDQUOT, EFBIG, EIO, EINTR, EAGAIN, EPIPE, cutShort};
const std::vector<int> readErrors = {EIO, EINTR, EAGAIN, EISDIR, cutShort};
const std::vector<int> fileErrors = {EIO, EINTR, ENOMEM, EACCES, EPERM};
const std::vector<int> socketErrors = {EINTR, EAGAIN, ENOBUFS, ENOMEM, ECONNREFUSED, EPIPE};

const Row rows[] = {
    row<access>("access", pathErrors),
    row<eaccess>("eaccess", pathErrors),
    row<stat>("stat", pathErrors),
    row<lstat>("lstat", pathErrors),
    row<fstat>("fstat", fileErrors),
    row<fstatat>("fstatat", pathErrors),
    row<statvfs>("statvfs", pathErrors),
    row<readlink>("readlink", pathErrors),
    row<realpath>("realpath", pathErrors),
    row<openFile>("open", makingErrors),
    row<mkdir>("mkdir", makingErrors),
    row<rename>("rename", makingErrors),
    row<unlink>("unlink", {EACCES, ENOENT, EROFS, EIO, EBUSY}),
    row<opendir>("opendir", makingErrors),
    row<readdir>("readdir", {EIO, ENOENT}),
    row<closedir, true>("closedir", {EIO}),
    row<close, true>("close", {EIO, EINTR, ENOSPC, EDQUOT}),
    row<pread>("pread", readErrors),
    row<read>("read", readErrors),
    row<pwrite>("pwrite", writeErrors),
    row<write>("write", writeErrors),
    row<ftruncate>("ftruncate", fileErrors),
    row<fsync>("fsync", writeErrors),
    row<fchmod>("fchmod", fileErrors),
    row<fchown>("fchown", fileErrors),
    row<flock>("flock", {EINTR, EWOULDBLOCK, ENOLCK}),
    row<control>("fcntl", {EMFILE, EINTR, EAGAIN}),
    row<systemCall>("syscall", {ENOSYS, EPERM}),
    row<mapFile>("mmap", {ENOMEM, EAGAIN, EACCES, ENODEV}),
    row<munmap, true>("munmap", {ENOMEM}),
    row<dlopen>("dlopen", {ENOENT}),
    row<dlsym>("dlsym", {ENOENT}),
    row<getpwuid_r, false, true>("getpwuid_r", {EIO, EMFILE, ENOMEM, ERANGE}),
    row<gethostname>("gethostname", {ENAMETOOLONG, EPERM}),
    row<getdomainname>("getdomainname", {ENAMETOOLONG, EPERM}),
    row<uname>("uname", {EFAULT}),
    row<sysinfo>("sysinfo", {EFAULT}),
    row<sysconf>("sysconf", {EINVAL}),
    row<localtime_r>("localtime_r", {EOVERFLOW}),
    row<nanosleep>("nanosleep", {EINTR}),
    row<poll>("poll", {EINTR, ENOMEM}),
    row<pipe2>("pipe2", {EMFILE, ENFILE}),
    row<splice>("splice", {EAGAIN, EINTR, ENOMEM}),
    row<connect>("connect", {ECONNREFUSED, EACCES, EINTR, EAGAIN, ENOENT}),
    row<socket>("socket", {EMFILE, ENFILE, ENOBUFS, EACCES}),
    row<socketpair>("socketpair", {EMFILE, ENFILE, EACCES}),
    row<setsockopt>("setsockopt", {ENOBUFS}),
    row<send>("send", socketErrors),
    row<sendmsg>("sendmsg", socketErrors),
    row<recvmsg>("recvmsg", socketErrors),
    row<posix_spawn, false, true>("posix_spawn", {EAGAIN, ENOMEM, ENOENT, EACCES}),
    row<waitpid>("waitpid", {EINTR, ECHILD}),
    row<waitid>("waitid", {EINTR, ECHILD}),
    row<pthread_key_create, false, true>("pthread_key_create", {EAGAIN, ENOMEM}),
    row<pthread_setspecific, false, true>("pthread_setspecific", {ENOMEM}),
};

/// The clock of logs, on which time flies: they are looked at once a second.
int readFastClock(clockid_t clock, timespec* time)
{
    static std::atomic<long> ahead = 0;
    const int result = clock_gettime(clock, time);
    if (clock == CLOCK_MONOTONIC_COARSE)
        time->tv_sec += ++ahead / 3;
    return result;
}

// ---- Where they leave the library ------------------------------------------------------------------------

/// Calls `use` with the name and the place of each address that libzmu.so is given by others.
template <class Use>
void forEachImport(Use use)
{
    const auto* map = static_cast<const link_map*>(dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_NOLOAD));
    std::map<ElfW(Sxword), ElfW(Addr)> dynamic;
    for (const ElfW(Dyn)* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry)
        dynamic[entry->d_tag] = entry->d_un.d_ptr;
    const auto* symbols = reinterpret_cast<const ElfW(Sym)*>(dynamic[DT_SYMTAB]);
    const auto* names = reinterpret_cast<const char*>(dynamic[DT_STRTAB]);
    const std::pair<ElfW(Addr), ElfW(Addr)> tables[] = {{dynamic[DT_RELA], dynamic[DT_RELASZ]},
                                                        {dynamic[DT_JMPREL], dynamic[DT_PLTRELSZ]}};
    for (const auto& [start, size] : tables) {
        const auto* entry = reinterpret_cast<const ElfW(Rela)*>(start);
        for (const auto* end = entry + size / sizeof *entry; entry != end; ++entry) {
            const ElfW(Sym)& symbol = symbols[ELF64_R_SYM(entry->r_info)];
            if (ELF64_R_SYM(entry->r_info) != 0 && symbol.st_shndx == SHN_UNDEF)
                use(std::string_view(names + symbol.st_name),
                    reinterpret_cast<void**>(map->l_addr + entry->r_offset));
        }
    }
}

/// What the library imports and does not ask the system for anything that it could refuse, or not
/// in a life: the programs of windows have tests of their own.
bool cannotFail(std::string_view name)
{
    constexpr std::string_view beginnings =
        "_Z __ _ITM _Unwind _dl_ _exit qt_ gnu_dev_ atoi environ daylight mem str wcs wmem sig "
        "isspace "
        "iswspace mbrtowc tolower toupper snprintf vsnprintf swprintf vswprintf malloc free "
        "nl_langinfo "
        "localeconv setlocale duplocale freelocale getenv geteuid getpid gettid time clock_gettime "
        "dladdr dlinfo dlclose dl_iterate_phdr pthread_mutex pthread_cond pthread_getspecific "
        "pthread_key_delete pthread_set pthread_sigmask clone pidfd_ posix_spawn_file "
        "posix_spawnattr kill tgkill ";
    std::string_view rest = beginnings;
    while (!rest.empty() && !name.starts_with(rest.substr(0, rest.find(' '))))
        rest.remove_prefix(rest.find(' ') + 1);
    return !rest.empty();
}

void catchCalls(Run& run)
{
    constexpr std::uintptr_t pageBytes = 4096;
    for (std::size_t i = 0; i < std::size(rows); ++i)
        *rows[i].number = static_cast<int>(i);
    forEachImport([&run](std::string_view name, void** place) {
        void* standIn = nullptr;
        if (name == "clock_gettime")
            standIn = reinterpret_cast<void*>(&readFastClock);
        for (const Row& row : rows) {
            if (name == row.name)
                standIn = row.standIn;
        }
        if (standIn) {
            const auto page = reinterpret_cast<std::uintptr_t>(place) & ~(pageBytes - 1);
            mprotect(reinterpret_cast<void*>(page), 2 * pageBytes, PROT_READ | PROT_WRITE);
            *place = standIn;
        } else if (!cannotFail(name)) {
            run.flaw("the library calls " + std::string(name) + ", which has no row");
        }
    });
}

/// A status window and the event log, as far as they can be had without a screen and a journal.
bool useServices(Zarn*, const Place&)
{
    setenv("DISPLAY", ":0", 1); // which nobody looks for
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("ZMU_WINDOW_SECONDS", "1", 1); // of patience with the window's program
    ZarnStatusReporter* const window = ZarnStatusReporter::create(
        L"Title", 0, L"zmu_torture", 0, dialogID, textID, nullptr, nullptr);
    const bool isShown = window && window->appear() && window->updateDisplay(L"text");
    ZarnStatusReporter::destroy();
    zgEL_Reporter::create("torture", nullptr, 0);
    zgEL_Reporter::destroy();
    return isShown;
}

/// Cuts the log within an entry that nobody counts, so that it has to be mended.
bool cutLog(Zarn* monitor, const Place& place)
{
    const std::wstring text(200, L'-');
    monitor->forgetSelfDX_Code();
    if (reportText(monitor, text.c_str()) != 0)
        return false;
    constexpr std::size_t pathQty = 1024;
    wchar_t path[pathQty]; // of what the report may have begun
    if (!monitor->getFileLogName(path, pathQty))
        return false;
    const std::string log = std::filesystem::path(path).string();
    const auto cut = static_cast<long>(std::filesystem::file_size(log)) - 400;
    if (truncate(log.c_str(), cut) != 0)
        return false;
    for (int i = 0; i < 6; ++i)
        place.ledger.report(monitor, 0);
    return true;
}

/// What a host does besides, while only the calls for that fail. It must work again afterwards.
struct Errand {
    const char* name;
    bool (*run)(Zarn* monitor, const Place& place);
    std::string_view except = {}; ///< A call that does not fail.
};

/// Lives in which the calls fail: those of all its life, or those of an errand.
class FaultyLives {
  public:
    FaultyLives(Run& run, const Errand& errand) : m_run(run), m_errand(errand)
    {
        fault = {};
        m_run.take(live(), "a life without faults");
        std::vector<long> qty;
        for (std::size_t i = 0; i < std::size(rows); ++i)
            qty.push_back(calls[i]);
        for (std::size_t i = 0; i < std::size(rows); ++i) {
            if (qty[i] > 0 && rows[i].name != errand.except)
                failEachCall(static_cast<int>(i), qty[i]);
        }
        m_run.did << errand.name << ": " << m_lives << " lives; ";
    }

  private:
    ChildEnd live()
    {
        ++m_lives;
        std::fill_n(calls, std::size(rows), 0);
        Life life{m_place,
                  [this](FaultTime time) { isOn = time != FaultTime::None && !m_errand.run; }};
        if (m_errand.run) {
            life.more = [this](Zarn* monitor) {
                isOn = true;
                m_errand.run(monitor, m_place);
                isOn = false;
                // What has failed for long is not tried again each time, and a log at most once a
                // second.
                constexpr int overASecond = 1100; // milliseconds
                for (int tries = fault.lasts ? 10 : 2; !m_errand.run(monitor, m_place);) {
                    if (--tries == 0)
                        _exit(errandFailed);
                    if (tries == 1)
                        sleepMs(overASecond);
                }
                LogReader logs;
                logs.readFolder(m_place.logs);
                if (!logs.flaws.empty()) {
                    sleepMs(overASecond);
                    m_place.ledger.report(monitor, 0);
                }
            };
        }
        life.faultsLast = fault.lasts;
        const ChildEnd end = liveInChild(life);
        m_run.counts.done += m_place.ledger.sum();
        return end;
    }

    /// A quick run takes another call for each error, and for an errand one error.
    void failEachCall(int row, long qty)
    {
        constexpr long samplesMax = 200; // more calls are made only to list folders
        constexpr long stride = 7919;
        const std::vector<int>& errors = rows[row].errors;
        std::printf("  %-12s %5ld calls:", rows[row].name, qty);
        for (const int error : errors)
            std::printf(" %s", error == cutShort ? "cut short" : strerrorname_np(error));
        std::printf("\n");
        isCalled[static_cast<std::size_t>(row)] = true;
        if (!m_run.isQuick) {
            for (const int error : errors) {
                for (long number = 1; number <= qty; number += 1 + (qty - 1) / samplesMax) {
                    failCall({row, number, error, false});
                    if (error != EINTR && error != EAGAIN) // which do not last
                        failCall({row, number, error, true});
                }
            }
            return;
        }
        for (std::size_t i = 0; i < (m_errand.run ? 1 : errors.size()); ++i)
            failCall({row, 1 + m_lives * stride % qty, errors[i], false});
    }

    void failCall(const Fault& next)
    {
        fault = next;
        const ChildEnd end = live();
        m_run.take(end, std::string(rows[fault.row].name) + " call " +
                            std::to_string(fault.number) + (fault.lasts ? " and on, " : ", ") +
                            (fault.error == cutShort ? "cut short" : strerrorname_np(fault.error)) +
                            ": " + describeLife(end));
    }

    Run& m_run;
    const Errand m_errand;
    const Place m_place{Place::Form::Full};
    int m_lives = 0;
};

} // namespace

void zmu_torture::failSystemCalls(Run& run)
{
    calls = makeShared<std::array<std::atomic<long>, std::size(rows)>>().data();
    catchCalls(run);
    const FaultyLives logs(run, {"logs", nullptr, {}});
    // What others have cut and the library then cannot cut stays as it is; nothing of it is lost.
    const FaultyLives mended(run, {"a log that was cut", cutLog, "ftruncate"});
    const FaultyLives services(run, {"windows and events", useServices, {}});
    run.did << "never called:";
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        if (!isCalled[i])
            run.did << ' ' << rows[i].name;
    }
}
