// Message boxes on a screen of the test's own, answered by keys.
#include "Screen.h"

#include <Support.h>

#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <QElapsedTimer>
#include <QProcess>

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include <sys/prctl.h>

namespace {

using namespace zmu_test;

/// An X server of the test's own, without a window manager, if there is one to be had.
class VirtualScreen {
  public:
    VirtualScreen()
    {
        // It goes when the test is killed, too.
        m_server.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
        // It writes its number once it is ready, and stays while no program is connected.
        m_server.start("Xvfb", {"-displayfd", "1", "-screen", "0", "800x600x24", "-nolisten", "tcp",
                                "-noreset"});
        if (!m_server.waitForReadyRead(60000))
            return;
        m_isThere = true;
        setenv("DISPLAY", ":" + m_server.readLine().trimmed(), 1);
        setenv("QT_QPA_PLATFORM", "xcb", 1);
        setenv("ZMU_WINDOW_SECONDS", "60", 1);
    }
    ~VirtualScreen()
    {
        m_server.kill();
        m_server.waitForFinished();
    }
    bool isThere() const { return m_isThere; }

  private:
    QProcess m_server;
    bool m_isThere = false;
};

class MessageBox : public ::testing::Test {
  protected:
    void SetUp() override
    {
        markPrograms();
        if (!m_screen.isThere() || system("command -v xdotool >/dev/null") != 0)
            GTEST_SKIP() << "there is no Xvfb, or no xdotool to press its keys";
        strings()[2042] = L"Go on?";
    }

    /// Shows a box of that style and returns its answer.
    static int show(unsigned style)
    {
        return ZarnLocalizeHelpers::showError(2042, GetModuleHandleW(nullptr), L"", nullptr,
                                              L"The caption", style);
    }

    /// Waits for the box and presses keys, one after the other.
    static void press(const std::string& keys)
    {
        const std::string command = "{ timeout 60 xdotool search --sync --onlyvisible --name 'The "
                                    "caption' windowfocus --sync && "
                                    "for key in " +
                                    keys +
                                    "; do sleep 0.1; xdotool key $key; done; } >/dev/null 2>&1";
        EXPECT_EQ(system(command.c_str()), 0);
    }

    /// What the box answers to keys.
    static int answerTo(unsigned style, const char* keys)
    {
        int answer = -1;
        std::thread box([&] { answer = show(style); });
        press(keys);
        box.join();
        return answer;
    }

  private:
    VirtualScreen m_screen;
};

TEST_F(MessageBox, AnswersWithTheButton)
{
    const struct {
        unsigned style;
        const char* keys;
        int answer;
    } cases[] = {
        {0x40, "Return", 1},          {0, "Escape", 1},      {0x31, "Return", 1},
        {0x101, "Return", 2},         {1, "Escape", 2},      {0x2, "Return", 3},
        {0x112, "Return", 4},         {0x202, "Return", 5},  {0x23, "Return", 6},
        {0x103, "Return", 7},         {0x203, "Return", 2},  {0x4, "Escape Return", 6},
        {0x104, "Return", 7},         {0x5, "Return", 4},    {0x105, "Return", 2},
        {0x6, "Return", 2},           {0x106, "Return", 10}, {0x206, "Return", 11},
        {0x40104, "Escape space", 7},
    };
    for (const auto& [style, keys, answer] : cases)
        EXPECT_EQ(answerTo(style, keys), answer) << std::hex << style;
    EXPECT_TRUE(windowPrograms().empty());
}

TEST_F(MessageBox, ThatIsLostSaysItsTextElsewhere)
{
    for (const int signal : {SIGKILL, SIGSTOP}) {
        setenv("ZMU_WINDOW_SECONDS", "10", 1);
        Traces traces;
        int answer = -1;
        QElapsedTimer clock;
        std::thread box([&] { answer = show(0x34); });
        ASSERT_TRUE(becomesTrue([] { return windowPrograms().size() == 1; }));
        press("");
        clock.start();
        kill(windowPrograms().front(), signal);
        box.join();
        EXPECT_EQ(answer, 0);
        EXPECT_LT(clock.elapsed(), 30000);
        EXPECT_EQ(traces.take(), "The caption: Internal Error 0.042\n\nGo on?\n");
        EXPECT_TRUE(windowPrograms().empty());
    }
}

} // namespace
