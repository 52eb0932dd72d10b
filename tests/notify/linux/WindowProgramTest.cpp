// The program that shows windows: what the host notices of it, and what becomes of one when the
// other is killed, stopped, or missing.
#include "Dialogs.h"
#include "Screen.h"

#include <linux/Child.h>

#include <zmu/notify/StatusCodes.h>

#include <QFileInfo>
#include <QTemporaryDir>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>

namespace {

using namespace zmu_test;
using Clock = std::chrono::steady_clock;
namespace status = zmu::status;

class WindowProgram : public Dialogs {
  protected:
    WindowProgram() { markPrograms(); }
    ~WindowProgram() override { signal(SIGCHLD, SIG_DFL); }
};

volatile sig_atomic_t s_childSignals = 0;

/// The only window program that runs.
pid_t theProgram()
{
    const std::vector<pid_t> programs = windowPrograms();
    EXPECT_EQ(programs.size(), 1u);
    return programs.empty() ? 0 : programs.front();
}

bool hasChildren()
{
    return waitpid(-1, nullptr, WNOHANG | __WALL) != -1 || errno != ECHILD;
}

/// A round starts a program of Qt, which takes too long for a thousand of them in each run: the
/// environment variable ZMU_TEST_ROUNDS asks for more.
int roundsAsked()
{
    constexpr int few = 20;
    const int asked = qEnvironmentVariableIntValue("ZMU_TEST_ROUNDS");
    return asked > 0 ? asked : few;
}

TEST_F(WindowProgram, LeavesNothingBehind)
{
    signal(SIGCHLD, [](int) { s_childSignals = s_childSignals + 1; });
    ASSERT_NE(makeReporter(), nullptr);
    ZarnStatusReporter::destroy();
    const int before = descriptorsInUse();
    const int rounds = roundsAsked();
    for (int round = 0; round < rounds; ++round) {
        if (round == rounds / 2)
            signal(SIGCHLD, SIG_IGN);
        ASSERT_NE(makeReporter(), nullptr) << round;
        EXPECT_FALSE(hasChildren());
        ZarnStatusReporter::destroy();
    }
    EXPECT_EQ(descriptorsInUse(), before);
    EXPECT_TRUE(windowPrograms().empty());
    EXPECT_EQ(s_childSignals, 0);

    // Nor when nothing can be shown.
    unsetenv("DISPLAY");
    const Traces traces;
    for (int round = 0; round < 20; ++round)
        EXPECT_EQ(makeReporter(), nullptr);
    EXPECT_EQ(ZarnStatusReporter::getDX_Code1(), status::DialogNotCreated);
    EXPECT_EQ(ZarnStatusReporter::getDX_Code2(), 1459u);
    EXPECT_FALSE(hasChildren());
}

TEST_F(WindowProgram, InheritsNothingButItsSocket)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    signal(SIGINT, SIG_IGN);
    ASSERT_NE(makeReporter(), nullptr);
    const pid_t program = theProgram();
    const QByteArray state = fileOfProcess(program, "status");
    EXPECT_TRUE(state.contains("SigBlk:\t0000000000000000\n"));
    const QByteArray ignored = state.mid(state.indexOf("SigIgn:\t") + 8, 16);
    EXPECT_EQ(ignored.toULongLong(nullptr, 16) & 1u << (SIGINT - 1), 0u);
    EXPECT_NE(getsid(program), getsid(0));
    for (const QFileInfo& own : QDir("/proc/self/fd").entryInfoList(QDir::Files | QDir::System)) {
        if (!own.symLinkTarget().contains("pipe:") && !own.symLinkTarget().contains("socket:"))
            continue;
        for (const QFileInfo& theirs : QDir(QStringLiteral("/proc/%1/fd").arg(program))
                                           .entryInfoList(QDir::Files | QDir::System))
            EXPECT_NE(theirs.symLinkTarget(), own.symLinkTarget());
    }
    close(ends[0]);
    close(ends[1]);
}

TEST_F(WindowProgram, ThatIsKilledCostsItsWindow)
{
    ZarnStatusReporter* reporter = makeReporter();
    ASSERT_NE(reporter, nullptr);
    kill(theProgram(), SIGKILL);
    EXPECT_TRUE(becomesTrue([&] { return !reporter->isViable(); }));
    ZarnStatusReporter::destroy();
    reporter = makeReporter();
    ASSERT_NE(reporter, nullptr);
    EXPECT_TRUE(reporter->updateDisplay(L"again"));
}

TEST_F(WindowProgram, ThatIsStoppedIsGivenUp)
{
    setenv("ZMU_WINDOW_SECONDS", "10", 1);
    ZarnStatusReporter* const reporter = makeReporter();
    ASSERT_NE(reporter, nullptr);
    kill(theProgram(), SIGSTOP);
    EXPECT_TRUE(reporter->isViable());
    const auto start = Clock::now();
    EXPECT_FALSE(reporter->updateDisplay(L"nobody draws this"));
    const auto duration = Clock::now() - start;
    EXPECT_GE(duration, std::chrono::seconds(9));
    EXPECT_LE(duration, std::chrono::seconds(30));
    EXPECT_EQ(ZarnStatusReporter::getDX_Code1(), status::UpdateTextNotSet);
    EXPECT_EQ(ZarnStatusReporter::getDX_Code2(), 1460u);
    EXPECT_FALSE(reporter->isViable());
    EXPECT_TRUE(areProgramsGone());
}

TEST_F(WindowProgram, ThatIsStoppedDoesNotDelayTheEnd)
{
    ASSERT_NE(makeReporter(), nullptr);
    kill(theProgram(), SIGSTOP);
    const auto start = Clock::now();
    ZarnStatusReporter::destroy();
    EXPECT_LE(Clock::now() - start, std::chrono::seconds(30));
    EXPECT_TRUE(windowPrograms().empty());
}

TEST_F(WindowProgram, EndsWithItsHost)
{
    // A child of the host that lives on holds the host's end of the socket, too.
    int life[2];
    ASSERT_EQ(pipe(life), 0);
    Child host([&] {
        close(life[1]);
        const bool isShown = makeReporter() != nullptr;
        if (fork() == 0) {
            char byte = 0;
            // What the child does with its copy is nothing to the host's window.
            const bool isViable = ZarnStatusReporter_MACRO_IsViable();
            ZarnStatusReporter::destroy();
            _exit(isViable || read(life[0], &byte, 1) != 0 ? 1 : 0);
        }
        return isShown && pause() == 0 ? 0 : 1;
    });
    EXPECT_TRUE(becomesTrue([] { return windowPrograms().size() == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    // One that is stopped goes as soon as it goes on.
    const pid_t program = theProgram();
    kill(program, SIGSTOP);
    host.kill();
    host.wait();
    kill(program, SIGCONT);
    EXPECT_TRUE(areProgramsGone());
    close(life[0]);
    close(life[1]);
}

TEST_F(WindowProgram, EndsWithItsHostThoughItsDisplayHangs)
{
    // It takes connections, and says nothing.
    const int display = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(display, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(listen(display, 8), 0);
    ASSERT_EQ(getsockname(display, reinterpret_cast<sockaddr*>(&address), &size), 0);
    constexpr int firstPort = 6000;
    const std::string name = "127.0.0.1:" + std::to_string(ntohs(address.sin_port) - firstPort);
    setenv("DISPLAY", name.c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    Child host([] { return makeReporter() ? 1 : 0; });
    pollfd caller{display, POLLIN, 0};
    EXPECT_EQ(poll(&caller, 1, 60000), 1);
    EXPECT_EQ(windowPrograms().size(), 1u);
    host.kill();
    EXPECT_TRUE(areProgramsGone());
    host.wait();
    close(display);
}

TEST_F(WindowProgram, OfAHostThatForksWhileThreadsCallIsNotTheChilds)
{
    setenv("ZMU_WINDOW_SECONDS", "10", 1);
    ZarnStatusReporter* const reporter = makeReporter();
    ASSERT_NE(reporter, nullptr);
    auto* const dialog = reporter->getDialogWindowHandle();
    kill(theProgram(), SIGSTOP);
    std::thread caller([&] { EXPECT_FALSE(reporter->updateDisplay(L"nobody draws this")); });
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    Child child([&] {
        const bool isOurs = IsWindow(dialog);
        auto* const own = makeDialog(nullptr);
        return !isOurs && IsWindow(own) && DestroyWindow(own) ? 0 : 1;
    });
    EXPECT_EQ(child.wait().status, 0);
    caller.join();
}

TEST_F(WindowProgram, ServesNoHandleThatWasNotGivenAndNoProcedureThatThrows)
{
    for (u64 place = 0; place < 64; ++place)
        EXPECT_FALSE(IsWindow(reinterpret_cast<HWND>((u64{1} << 40) + place)));

    EXPECT_EQ(makeReporter([](HWND, unsigned int, u64, i64) -> i64 { throw 7; }), nullptr);
    EXPECT_EQ(ZarnStatusReporter::getDX_Code1(), status::DialogNotCreated);
    EXPECT_EQ(ZarnStatusReporter::getDX_Code2(), 31u);
    EXPECT_TRUE(areProgramsGone());

    ZarnStatusReporter* const reporter =
        makeReporter([](HWND, unsigned int message, u64, i64) -> i64 {
            constexpr unsigned int end = 2;
            return message == end ? throw std::bad_alloc() : 0;
        });
    ASSERT_NE(reporter, nullptr);
    SetLastError(0);
    EXPECT_TRUE(reporter->updateDisplay(L"no display server"));
    EXPECT_EQ(GetLastError(), 0u);
    ZarnStatusReporter::destroy();
    EXPECT_TRUE(areProgramsGone());
}

// ---- Where it is --------------------------------------------------------------------------------

/// An installation: the library, and `program` as its window program, unless that is empty.
class Installation {
  public:
    Installation(const char* place, const QByteArray& program)
    {
        QDir(m_folder.path()).mkpath("lib");
        QDir(m_folder.path()).mkpath(QFileInfo(place).path());
        QFile::copy(LIBRARY_FILE, m_folder.filePath("lib/" LIBRARY_NAME));
        QFile file(m_folder.filePath(place));
        if (program == "real" || program == "faltering") {
            QFile::copy(program == "real" ? WINDOW_PROGRAM : FALTERING_PROGRAM, file.fileName());
        } else if (!program.isEmpty() && file.open(QIODevice::WriteOnly)) {
            file.write(program);
            file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        }
    }

    /// What the host says of its window.
    std::string ask() const
    {
        const QByteArray command = "cd / && LD_LIBRARY_PATH='" + m_folder.filePath("lib").toUtf8() +
                                   "' '" HOST_PROGRAM "' 2>/dev/null";
        std::string said;
        FILE* const output = popen(command.constData(), "r");
        char line[256];
        while (output && std::fgets(line, sizeof line, output))
            said += line;
        EXPECT_EQ(pclose(output), 0);
        return said;
    }

  private:
    QTemporaryDir m_folder;
};

TEST_F(WindowProgram, IsFoundBesideTheLibraryOrInItsInstallation)
{
    EXPECT_EQ(Installation("lib/zmu-window", "real").ask(), "0 0 0 0 ");
    EXPECT_EQ(Installation("libexec/zmu/zmu-window", "real").ask(), "0 0 0 0 ");
}

TEST_F(WindowProgram, ThatDoesNotStartIsNotWaitedForLong)
{
    EXPECT_EQ(Installation("lib/zmu-window", "").ask(), "14/2 ");
    EXPECT_EQ(Installation("lib/zmu-window", "#!/bin/sh\nexit 0\n").ask(), "14/31 ");
    EXPECT_EQ(Installation("lib/zmu-window", "no program\n").ask(), "14/31 ");
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    EXPECT_EQ(Installation("lib/zmu-window", "real").ask(), "14/31 ");
    // Which is five seconds where nobody asks for more.
    unsetenv("ZMU_WINDOW_SECONDS");
    const auto start = Clock::now();
    EXPECT_EQ(Installation("lib/zmu-window", "#!/bin/sh\nexec sleep 600\n").ask(), "14/1460 ");
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(4));
    EXPECT_LE(Clock::now() - start, std::chrono::seconds(40));
}

TEST_F(WindowProgram, ThatEndsAtAnOrderFailsTheOperation)
{
    const Installation installation("lib/zmu-window", "faltering");
    const struct {
        int orders; ///< How many of these in a row end in the same codes.
        const char* codes;
    } cases[] = {
        {7, "13/0 "}, // while the dialog's procedure dresses it
        {1, "0 0 40/0 5/0 "},
        {3, "0 1/1400 40/0 5/0 "},
        {1, "0 2/1400 40/0 5/0 "},
        {1, "0 0 43/1400 5/0 "},
        {1, "0 0 42/0 5/0 "},
        {1, "0 0 0 5/1400 "},
        {1, "0 0 0 6/1400 "},
        {1, "0 0 0 7/1400 "},
        {2, "0 0 0 8/1400 "},
        {1, "0 0 0 0 "},
    };
    int orders = 0;
    for (const auto& [count, codes] : cases) {
        for (const int end = orders + count; orders < end; ++orders) {
            setenv("ZMU_TEST_ORDERS", std::to_string(orders).c_str(), 1);
            EXPECT_EQ(installation.ask(), codes) << orders;
        }
    }
}

TEST_F(WindowProgram, ServesThreads)
{
    ZarnStatusReporter* const reporter = makeReporter();
    ASSERT_NE(reporter, nullptr);
    inThreads(3, 50, [&](int thread, int round) {
        if (thread == 2)
            EXPECT_TRUE(round % 2 ? reporter->disappear() : reporter->appear());
        else
            EXPECT_TRUE(reporter->updateDisplay(thread == 0 ? L"left" : L"right"));
    });
    EXPECT_TRUE(shownText() == L"left" || shownText() == L"right");

    // One of them destroys it.
    static std::atomic<int> ends;
    auto* const dialog = makeDialog([](HWND, unsigned int message, u64, i64) -> i64 {
        ends += message == 2 ? 1 : 0;
        return 0;
    });
    std::atomic<int> successes = 0;
    inThreads(4, [&](int) { successes += DestroyWindow(dialog); });
    EXPECT_EQ(successes, 1);
    EXPECT_EQ(ends, 1);
}

} // namespace
