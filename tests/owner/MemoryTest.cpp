// Memory that runs out: the n-th allocation of a host's life fails, alone or with all that follow,
// for every n of a start, situations of two threads, a replacement of the log, and an end.
//
// Each n has a process of its own, which nothing but the scenario has used before. Nothing may
// crash or hang, what is told as logged is in a log, what is not says a code, and with memory again
// everything works. A plain run takes some of the numbers; ZMU_TEST_EVERY_ALLOCATION=1 takes all
// (N: each N-th). ZMU_TEST_ONLY=17, or 17+ for all from there on, lives in this process, for a
// debugger: break at failAllocation.
#include "Support.h"

#include <zmu/owner/ZarnDataZGW.h>

#include <gtest/gtest.h>

#if defined(_WIN32) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

TEST(Memory, RunsOut)
{
    GTEST_SKIP() << "the allocations of the libraries cannot be made to fail here";
}

#else

#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>

using namespace zmu;
using namespace zmu_test;

// ---- Allocations that fail -------------------------------------------------------------------------------

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

std::atomic<bool> isCounting = false;
std::atomic<long> allocations = 0;
bool isStarting = false;
long firstFailing = LONG_MAX;
long lastFailing = LONG_MAX;

constexpr int endsInQt = 99;

/// Whether Qt is making its first objects of a thread or of a stream, which it does not survive
/// without memory.
bool isQtMakingObjects()
{
    void* callers[64];
    const int count = backtrace(callers, 64);
    for (int i = 0; i < count; ++i) {
        Dl_info function{};
        if (dladdr(callers[i], &function) == 0 || !function.dli_sname)
            continue;
        for (const char* maker : {"_ZN7QThread13currentThreadEv", "_ZN11QTextStreamC1EP9QIODevice",
                                  "_ZN11QTextStreamC2EP9QIODevice"}) {
            if (std::strcmp(function.dli_sname, maker) == 0)
                return true;
        }
    }
    return false;
}

/// Where a debugger stops.
[[gnu::noinline]] void failAllocation()
{
    if (isStarting && isQtMakingObjects())
        _exit(endsInQt);
    errno = ENOMEM;
}

bool mayAllocate()
{
    if (!isCounting)
        return true;
    const long number = ++allocations;
    const bool fails = number >= firstFailing && number <= lastFailing;
    if (fails)
        failAllocation();
    return !fails;
}

} // namespace

// The C++ library's operator new allocates by malloc.
extern "C" void* malloc(std::size_t size)
{
    return mayAllocate() ? __libc_malloc(size) : nullptr;
}

extern "C" void* calloc(std::size_t count, std::size_t size)
{
    return mayAllocate() ? __libc_calloc(count, size) : nullptr;
}

extern "C" void* realloc(void* memory, std::size_t size)
{
    return mayAllocate() ? __libc_realloc(memory, size) : nullptr;
}

extern "C" void* memalign(std::size_t alignment, std::size_t size)
{
    return mayAllocate() ? __libc_memalign(alignment, size) : nullptr;
}

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

extern "C" int posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    *memory = memalign(alignment, size);
    return *memory ? 0 : ENOMEM;
}

// ---- The scenario ----------------------------------------------------------------------------------------

namespace {

void require(bool condition, int status)
{
    if (!condition)
        _exit(status);
}

/// A thread that was there before memory ran out, and reports its first situation when it is told.
class Reporter {
  public:
    Reporter() : m_thread([this] { run(); }) {}
    ~Reporter()
    {
        {
            const std::lock_guard lock(m_lock);
            m_isEnding = true;
            m_changed.notify_all();
        }
        m_thread.join();
    }
    Reporter(const Reporter&) = delete;
    Reporter& operator=(const Reporter&) = delete;

    int report(Zarn* monitor)
    {
        std::unique_lock lock(m_lock);
        m_monitor = monitor;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_monitor; });
        return m_code;
    }

  private:
    void run()
    {
        std::unique_lock lock(m_lock);
        while (true) {
            m_changed.wait(lock, [this] { return m_monitor || m_isEnding; });
            if (!m_monitor)
                return;
            m_code = reportText(m_monitor, L"entry");
            m_monitor->forgetSelfDX_Code();
            m_monitor = nullptr;
            m_changed.notify_all();
        }
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    Zarn* m_monitor = nullptr;
    bool m_isEnding = false;
    int m_code = 0;
    std::thread m_thread;
};

std::vector<std::string> filesOf(const std::string& folder)
{
    std::vector<std::string> files;
    DIR* const entries = opendir(folder.c_str());
    while (const dirent* entry = entries ? readdir(entries) : nullptr) {
        if (entry->d_name[0] != '.')
            files.push_back(folder + '/' + entry->d_name);
    }
    if (entries)
        closedir(entries);
    return files;
}

/// How often the logs of `folder` have an entry `text`.
int countEntries(const std::string& folder, const std::string& text)
{
    int count = 0;
    for (const std::string& file : filesOf(folder)) {
        std::stringstream bytes;
        bytes << std::ifstream(file).rdbuf();
        std::string plain = bytes.str();
        plain.erase(std::remove(plain.begin(), plain.end(), '\0'), plain.end()); // of UTF-16
        for (std::size_t at = 0; (at = plain.find(' ' + text + "<br>", at)) != plain.npos; ++at)
            ++count;
    }
    return count;
}

Zarn* start()
{
    try {
        ZarnDataZGW owner(0, true, nullptr, nullptr, Zarn_LOG_HTML);
        Zarn* const monitor = owner.createZarnMonitor();
        require(monitor || ZarnDataZGW::getDX_Code1() != 0, 11);
        return monitor;
    } catch (int code) {
        require(code != 0 && code == ZarnDataZGW::getDX_Code1(), 12);
        return nullptr;
    }
}

/// The scenario in a process of its own; does not return.
[[noreturn]] void live(const std::string& folder)
{
    constexpr unsigned patience = 20;
    alarm(patience);
    auto other = std::make_unique<Reporter>();
    isQtMakingObjects(); // which allocates the first time
    allocations = 0;
    isCounting = true;
    isStarting = true;
    Zarn* monitor = start();
    isStarting = false;
    int logged = 0;
    const auto report = [&] {
        for (int i = 0; monitor && i < 5; ++i) {
            logged += reportText(monitor, L"entry") == 0;
            monitor->forgetSelfDX_Code();
            logged += other->report(monitor) == 0;
        }
    };
    report();
    if (monitor && !monitor->reestablishLogFile(false)) {
        require(monitor->getSelfDX_Code() != 0, 13);
        monitor->forgetSelfDX_Code();
    }
    report();
    isCounting = false;
    const long passed = allocations;
    require(countEntries(folder, "entry") == logged, 14);

    // With memory again.
    if (!monitor)
        monitor = start();
    require(monitor != nullptr, 15);
    const auto works = [&] {
        monitor->forgetSelfDX_Code();
        return reportText(monitor, L"back") == 0;
    };
    if (!works())
        require(monitor->reestablishLogFile(false) && works(), 16);
    require(countEntries(folder, "back") == 1, 17);
    require(other->report(monitor) == 0, 18);

    allocations = passed;
    isCounting = true;
    other.reset();
    require(ZarnDataZGW::destroyZarnMonitor(monitor), 19);
    isCounting = false;
    std::ofstream(folder + "/../count") << allocations;
    _exit(0);
}

/// A form with all that a form can have, in the place where an owner looks for it.
void writeForm(const std::string& folder)
{
    ASSERT_EQ(mkdir((folder + "/Templates").c_str(), 0700), 0);
    std::ofstream(folder + "/Templates/bpw_template.html")
        << "^INJECT_SYS_INFO\n1\nSYS_INFO_ENV_OP 1 1 0\n<b>\n</b>\n<i>\n</i>\n"
           "^HEAD\n<html>[PRODUCT_NAME] [SYS_INFO_ENV_OP]\n"
           "^BODY\n<p>[ENTRY_ID] [SITUATION_DSCRP]<br>\n^TAIL\n</html>\n";
}

/// What became of the process; empty if all went well.
std::string outcomeOf(const std::string& folder, long first, long last)
{
    for (const std::string& file : filesOf(folder))
        unlink(file.c_str()); // which leaves the folder of the form
    const pid_t child = fork();
    if (child == 0) {
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        firstFailing = first;
        lastFailing = last;
        live(folder);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status))
        return "signal " + std::to_string(WTERMSIG(status));
    return WEXITSTATUS(status) ? "status " + std::to_string(WEXITSTATUS(status)) : "";
}

/// Fails each allocation, or some of them, with a form or without.
void failEachAllocation(bool hasForm)
{
    char root[] = "/tmp/zmu_memory_XXXXXX";
    ASSERT_TRUE(mkdtemp(root));
    const std::string folder = std::string(root) + "/logs";
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    setenv("XDG_CONFIG_DIRS", root, 1);
    if (hasForm)
        writeForm(folder);
    setLogDirectory(std::wstring(folder.begin(), folder.end()));

    ASSERT_EQ(outcomeOf(folder, LONG_MAX, LONG_MAX), "");
    long count = 0;
    std::ifstream(std::string(root) + "/count") >> count;
    const char* const every = getenv("ZMU_TEST_EVERY_ALLOCATION");
    if (const char* only = getenv("ZMU_TEST_ONLY")) {
        firstFailing = std::atol(only);
        lastFailing = std::strchr(only, '+') ? LONG_MAX : firstFailing;
        live(folder);
    }
    const long step = every ? std::atol(every) : 1 + count / 60;
    int endsInQtCount = 0;
    std::map<std::string, std::vector<std::string>> failures;
    for (long n = 1; n <= count; n += step) {
        for (const long last : {n, LONG_MAX}) {
            const std::string outcome = outcomeOf(folder, n, last);
            if (outcome == "status " + std::to_string(endsInQt))
                ++endsInQtCount;
            else if (!outcome.empty())
                failures[outcome].push_back(std::to_string(n) + (last == n ? "" : "+"));
        }
    }
    std::filesystem::remove_all(root);
    // Its objects of one thread and one stream, made once.
    constexpr int endsInQtMax = 50;
    EXPECT_LE(endsInQtCount, endsInQtMax);
    for (const auto& [outcome, numbers] : failures) {
        std::string all;
        for (const std::string& number : numbers)
            all += ' ' + number;
        ADD_FAILURE() << outcome << ':' << all;
    }
}

} // namespace

TEST(Memory, RunsOut)
{
    failEachAllocation(false);
}

TEST(Memory, RunsOutWithAForm)
{
    failEachAllocation(true);
}

#endif
