// Message boxes on a screen of the test's own, answered by keys.
#include "../Allocations.h"
#include "VirtualScreen.h"

#include <Support.h>

#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace {

using namespace zmu_test;

class MessageBox : public ::testing::Test {
  protected:
    void SetUp() override
    {
        markPrograms();
        if (!m_screen.isThere())
            GTEST_SKIP() << noScreen;
        strings()[2042] = L"Go on?";
    }

    /// Shows a box of that style and returns its answer.
    static int show(unsigned style)
    {
        return ZarnLocalizeHelpers::showError(2042, GetModuleHandleW(nullptr), L"", nullptr,
                                              L"The caption", style);
    }

    /// What the box answers to keys.
    static int answerTo(unsigned style, const char* keys)
    {
        int answer = -1;
        std::thread box([&] { answer = show(style); });
        pressIn("The caption", keys);
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
        pressIn("The caption", "");
        clock.start();
        kill(windowPrograms().front(), signal);
        box.join();
        EXPECT_EQ(answer, 0);
        EXPECT_LT(clock.elapsed(), 30000);
        EXPECT_EQ(traces.take(), "The caption: Internal Error 0.042\n\nGo on?\n");
        EXPECT_TRUE(windowPrograms().empty());
    }
}

TEST_F(MessageBox, OfASituationHoldsTheOthersUntilItIsAnswered)
{
    strings()[7] = L"2~0|&|``Shown.`";
    const Folder folder;
    const Monitor monitor(folder.path("log.html"));
    monitor->setDisplayDlgBoxFunction(
        [](HWND, const wchar_t*, const wchar_t*, unsigned int style) { return show(style); });
    std::thread first([&] { monitor->respondToSituation(7, nullptr); });
    ASSERT_TRUE(becomesTrue([] { return windowPrograms().size() == 1; }));
    std::atomic<bool> isDone = false;
    std::thread second([&] {
        EXPECT_EQ(reportText(monitor.get(), L"waits"), 0);
        isDone = true;
    });
    pressIn("The caption", "Tab");
    EXPECT_FALSE(isDone);
    pressIn("The caption", "Return");
    first.join();
    second.join();
    EXPECT_EQ(monitor->getSelfDX_Code(), 0);
}

TEST_F(MessageBox, IsAnsweredOrSaysItsTextElsewhereWhateverAllocationFails)
{
    if (!canFailAllocations)
        GTEST_SKIP() << cannotFail;
    const auto isShown = [](const auto& failingIn) {
        Traces traces;
        int answer = -1;
        bool hasFailed = false;
        std::atomic<bool> isOver = false;
        std::thread box([&] {
            hasFailed = failingIn([&] { answer = show(0); });
            isOver = true;
        });
        const bool isAnswered = becomesTrue([&] {
            return isOver || (system("xdotool search --name 'The caption' windowfocus --sync "
                                     "key Return >/dev/null 2>&1"),
                              false);
        });
        if (!isAnswered) {
            for (const pid_t program : windowPrograms())
                kill(program, SIGKILL);
        }
        box.join();
        const QString elsewhere = traces.take();
        EXPECT_TRUE(isAnswered);
        EXPECT_TRUE(answer == 1 || elsewhere.contains("Go on?"));
        EXPECT_TRUE(hasFailed || answer == 1);
        return hasFailed;
    };
    for (const bool goesOn : {false, true})
        failEachAllocation(goesOn, isShown);
    EXPECT_TRUE(windowPrograms().empty());
}

} // namespace
