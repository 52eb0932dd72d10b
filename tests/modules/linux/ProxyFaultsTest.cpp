// What the proxy makes of kills, forks, full disks, limits and meddling.
#include "MachineSettings.h"
#include "Spools.h"

#include <linux/Child.h>
#include <linux/Refusals.h>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <new>
#include <numeric>

using namespace zmu_test;

namespace {

class ProxyFaults : public Proxy {
  protected:
    QString pathOf(const QString& name) const { return spool + '/' + name; }
};

/// A number that a child leaves to its parent.
struct Shared {
    std::atomic<int>* number = new (mmap(nullptr, sizeof *number, PROT_READ | PROT_WRITE,
                                         MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<int>(0);
    ~Shared() { munmap(number, sizeof *number); }
};

/// Makes writes to all but the standard files fail, for the life of the process. Whether they do.
bool failWrites(int error)
{
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_write, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
        BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, STDERR_FILENO, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{std::size(steps), steps};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

bool isLocked(const QString& path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return flock(file.handle(), LOCK_EX | LOCK_NB) != 0;
}

} // namespace

TEST_F(ProxyFaults, FilesAreTheUsersOwnAndLockedForLife)
{
    umask(0077);
    EXPECT_TRUE(hand(L"text"));
    const QString file = pathOf(spools().files.value(0));
    struct stat status = {};
    ASSERT_EQ(stat(qPrintable(file), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640);
    EXPECT_TRUE(isLocked(file));
}

TEST_F(ProxyFaults, KillsTearOneLineAtMost)
{
    const Shared taken;
    Child writer([&] {
        inThreads(2, INT_MAX, [&](int thread, int) {
            if (hand(std::wstring(300, L'a' + thread)))
                ++*taken.number;
        });
        return 1;
    });
    EXPECT_TRUE(becomesTrue([&] { return *taken.number >= 2000; }));
    writer.kill();
    writer.wait();
    const Spools left = spools();
    EXPECT_GE(static_cast<int>(left.lines.size()), *taken.number);
    EXPECT_LE(left.torn, 1);
    for (std::size_t i = 0; i < left.lines.size(); ++i)
        ASSERT_EQ(left.lines[i].sequence, i + 1);
    EXPECT_FALSE(isLocked(pathOf(left.files.last())));
}

TEST_F(ProxyFaults, ForksHaveFilesOfTheirOwn)
{
    EXPECT_TRUE(hand(L"before"));
    EXPECT_EQ(Child([] { return hand(L"child") && hand(L"child") ? 0 : 1; }).wait().status, 0);
    EXPECT_TRUE(hand(L"after"));
    const Spools written = spools();
    ASSERT_EQ(written.files.size(), 2);
    zmu::u64 count[2] = {};
    for (const zmu_spool::SpoolLine& line : written.lines) {
        const bool isParents = line.process == static_cast<zmu::u64>(getpid());
        EXPECT_EQ(line.description == "child", !isParents);
        EXPECT_EQ(line.sequence, ++count[isParents]);
    }
}

TEST_F(ProxyFaults, ChildrenThatTheProxyIsNotToldOfHaveFilesOfTheirOwn)
{
    const auto body = [] {
        // Before the proxy is loaded, whose handler comes later then.
        pthread_atfork(nullptr, nullptr, [] { hand(L"child"); });
        bool isDone = hand(L"parent");
        for (pid_t (*const begin)() : {fork, _Fork}) {
            const pid_t child = begin();
            if (child == 0)
                _exit(hand(L"child") ? 0 : 1);
            int status = -1;
            isDone &= waitpid(child, &status, 0) == child && status == 0 && hand(L"parent");
        }
        return isDone ? 0 : 1;
    };
    EXPECT_EQ(Child(body).wait().status, 0);
    const Spools written = spools();
    EXPECT_EQ(written.lines.size(), 6);
    std::map<zmu::u64, zmu::u64> count;
    std::map<zmu::u64, std::string> who;
    for (const zmu_spool::SpoolLine& line : written.lines) {
        EXPECT_EQ(line.sequence, ++count[line.process]);
        EXPECT_EQ(who.try_emplace(line.process, line.description).first->second, line.description);
    }
    EXPECT_EQ(count.size(), 3);
    EXPECT_EQ(written.files.size(), 3);
}

TEST_F(ProxyFaults, SilentChildrenDoNotKeepTheirParentsFile)
{
    const Shared silent;
    const auto body = [&] {
        hand(L"parent");
        const pid_t child = fork();
        if (child == 0) {
            close(STDOUT_FILENO); // whose end CTest waits for
            pause();
        }
        *silent.number = child;
        return child < 0 ? 1 : 0;
    };
    ASSERT_EQ(Child(body).wait().status, 0);
    const QString file = pathOf(spools().files.value(0));
    EXPECT_TRUE(becomesTrue([&] { return !isLocked(file); }));
    kill(*silent.number, SIGKILL);
}

TEST_F(ProxyFaults, ForksBesideReportsGoOn)
{
    if (const char* why = whyForksCannotAllocate())
        GTEST_SKIP() << why;
    constexpr int forks = 50;
    constexpr unsigned pauseUs = 200; // a slow machine must not reach the folder's limit
    std::atomic<bool> isOver = false;
    EXPECT_TRUE(hand(L"first")); // the module is there before anybody forks
    inThreads(3, [&](int thread) {
        if (thread != 0) {
            for (; !isOver; usleep(pauseUs))
                EXPECT_TRUE(hand(L"beside"));
            return;
        }
        for (int i = 0; i < forks; ++i)
            EXPECT_EQ(Child([] { return hand(L"child") ? 0 : 1; }).wait().status, 0);
        isOver = true;
    });
    const Spools written = spools();
    EXPECT_EQ(written.torn, 0);
    EXPECT_GT(written.files.size(), forks);
}

TEST_F(ProxyFaults, FullDisksLeaveWholeLines)
{
    if (const std::string why = mountSmallDisk(spool.toStdString()); !why.empty())
        GTEST_SKIP() << why;
    const Traces traces;
    const std::wstring text(700, L'x');
    EXPECT_TRUE(hand(text));
    const std::string ballast = pathOf("ballast").toStdString();
    fill(ballast);
    int taken = 1;
    while (hand(text)) // the rest of a page
        ++taken;
    for (int i = 0; i < 3; ++i)
        EXPECT_FALSE(hand(text));
    Spools written = spools();
    EXPECT_EQ(static_cast<int>(written.lines.size()), taken);
    EXPECT_TRUE(written.isWhole());
    unlink(ballast.c_str());
    EXPECT_TRUE(hand(L"room again"));
    written = spools();
    EXPECT_EQ(written.torn, 0);
    ASSERT_EQ(static_cast<int>(written.lines.size()), taken + 1);
    EXPECT_EQ(static_cast<int>(written.lines.back().sequence), taken + 5); // the gap tells
}

TEST_F(ProxyFaults, LimitsOfTheProcessHarmNobody)
{
    constexpr long limit = 10000;
    const Traces traces;
    {
        const SizeLimit none(0);
        EXPECT_FALSE(hand(L"no file at all"));
    }
    const SizeLimit some(limit);
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(handAtLast(std::wstring(100, L'x')));
    EXPECT_FALSE(hand(std::wstring(limit, L'x')));
    const Spools written = spools();
    EXPECT_EQ(written.torn, 0);
    EXPECT_GT(written.files.size(), 2);
    for (const qint64 size : written.sizes)
        EXPECT_LE(size, limit);
}

TEST_F(ProxyFaults, LackOfMemoryIsARefusal)
{
    if (heapBytes() == 0)
        GTEST_SKIP() << "the sanitizer has a heap of its own";
    const std::wstring text(8000000, L'x');
    const std::wstring shortText(1024, L'\x01');
    Traces traces;
    EXPECT_TRUE(hand(L"first"));
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    const rlimit tight{1, before.rlim_max};
    setrlimit(RLIMIT_AS, &tight);
    const bool isShortTaken = hand(shortText);
    const bool isLongTaken = hand(text);
    setrlimit(RLIMIT_AS, &before);
    EXPECT_TRUE(isShortTaken);
    EXPECT_FALSE(isLongTaken);
    EXPECT_TRUE(traces.take().contains("number 3 of this process was refused: there is no memory"));
    EXPECT_TRUE(hand(text));
    EXPECT_EQ(spools().lines.back().sequence, 4); // the gap tells
}

TEST_F(ProxyFaults, DisksThatFailAreNotFilledWithFiles)
{
    constexpr int cannotFail = 77;
    const auto body = [] {
        if (!hand(L"first"))
            return 1;
        if (!failWrites(EIO))
            return cannotFail;
        // Longer than the second after which a file is made again.
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2500);
        for (; std::chrono::steady_clock::now() < end; usleep(1000)) {
            if (hand(L"refused"))
                return 2;
        }
        return 0;
    };
    const int status = Child(body).wait().status;
    if (status == cannotFail)
        GTEST_SKIP() << "calls of the system cannot be made to fail here";
    EXPECT_EQ(status, 0);
    EXPECT_EQ(spools().files.size(), 1);
    EXPECT_EQ(spools().lines.size(), 1);
}

TEST_F(ProxyFaults, ProcessesKeepToTheLimitTogether)
{
    constexpr int processes = 8;
    constexpr qint64 limit = 0x100000;
    MachineSettings settings;
    settings.storeSection("Spool", {{"FolderSize", QString::number(limit)}});
    const Shared ready;
    std::vector<std::unique_ptr<Child>> children;
    for (int i = 0; i < processes; ++i)
        children.push_back(std::make_unique<Child>([&] {
            hand(L"first");
            ++*ready.number;
            if (!becomesTrue([&] { return *ready.number == processes; }))
                return 1;
            while (hand(std::wstring(500, L'x'))) {
            }
            return 0;
        }));
    for (const auto& child : children)
        EXPECT_EQ(child->wait().status, 0);
    const Spools written = spools();
    EXPECT_EQ(written.torn, 0);
    const qint64 sum = std::accumulate(written.sizes.begin(), written.sizes.end(), qint64(0));
    EXPECT_LE(sum, limit);
    EXPECT_GT(sum, limit * 3 / 4); // the rest could be what some of them have not written yet
}

TEST_F(ProxyFaults, FilesWithHolesTakeNoRoom)
{
    QFile sparse(pathOf("sparse.spool"));
    ASSERT_TRUE(sparse.open(QIODevice::WriteOnly));
    ASSERT_TRUE(sparse.resize(qint64(2) << 30)); // the limit is 1 GiB
    EXPECT_TRUE(hand(L"taken"));
}

TEST_F(ProxyFaults, FilesThatAreTakenAwayAreFollowedByOthers)
{
    EXPECT_TRUE(hand(L"lost"));
    QFile::remove(pathOf(spools().files.value(0)));
    ASSERT_TRUE(becomesTrue([&] {
        EXPECT_TRUE(hand(L"kept"));
        return !spools().lines.empty();
    }));
    EXPECT_GT(spools().lines.front().sequence, 1); // the gap tells
}

TEST_F(ProxyFaults, EndsOfProcessesAndOfTheirErrorsAreSurvived)
{
    EXPECT_EQ(Child([]() -> int {
                  std::atexit([] { hand(L"late"); });
                  exit(0);
              })
                  .wait()
                  .status,
              0);
    EXPECT_EQ(spools().lines.size(), 1);

    qputenv("ZMU_SPOOL", "/missing");
    const auto tellsThroughPipe = [](bool isFull) {
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[1], STDERR_FILENO) < 0 || fchmod(ends[1], 0) != 0)
            return 1;
        obeyPermissions(); // as those of another user, whose pipe nobody else opens
        char bytes[4096] = {};
        const auto setNonBlocking = [&](int flag) {
            return fcntl(ends[0], F_SETFL, flag) == 0 && fcntl(ends[1], F_SETFL, flag) == 0;
        };
        bool isSet = setNonBlocking(O_NONBLOCK);
        while (isFull && write(ends[1], bytes, sizeof bytes) > 0) {
        }
        isSet = isSet && setNonBlocking(0);
        if (!isSet || hand(L"refused"))
            return 2;
        const ssize_t size = read(ends[0], bytes, sizeof bytes);
        const bool isTold = std::string_view(bytes, size > 0 ? size : 0).starts_with("cs4s3: ");
        return isTold == !isFull ? 0 : 3;
    };
    EXPECT_EQ(Child([&] { return tellsThroughPipe(false); }).wait().status, 0);
    EXPECT_EQ(Child([&] { return tellsThroughPipe(true); }).wait().status, 0);
    EXPECT_EQ(Child([] {
                  int ends[2];
                  if (pipe(ends) != 0 || dup2(ends[1], STDERR_FILENO) < 0)
                      return 1;
                  close(ends[0]); // nobody reads what is told
                  return hand(L"refused") ? 2 : 0;
              })
                  .wait()
                  .status,
              0);
}
