// A process that forks without becoming another program, and its log.
#include "LogParts.h"

#include <linux/Child.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

using namespace zmu;
using namespace zmu_test;

namespace {

/// Whether no check of `checks` fails in a fork of this process; each that does says so itself.
bool holdsInChild(const std::function<void()>& checks)
{
    Child child([&] {
        checks();
        return testing::Test::HasFailure() ? 1 : 0;
    });
    return child.wait().status == 0;
}

class LogFork : public LogSeries {
  protected:
    LogFork()
    {
        log = folder.path("log.html");
        start(plainForm, [](Stages& settings) { settings.createPlugIns(1); });
    }

    /// The entries of all logs but the parent's, each of which is a whole document.
    QStringList entriesOfChildren() const
    {
        QStringList entries;
        for (const QString& name : files())
            entries += entriesOf(folder.path(qPrintable("logs/" + name)));
        return entries;
    }
};

} // namespace

TEST_F(LogFork, ChildHasALogOfItsOwn)
{
    ASSERT_TRUE(monitor);
    EXPECT_EQ(reportText(monitor, L"one"), dx::Satisfied);
    EXPECT_TRUE(holdsInChild([&] {
        EXPECT_EQ(reportText(monitor, L"child"), dx::Satisfied);
        EXPECT_EQ(reportText(monitor, L"again"), dx::Satisfied);
        EXPECT_TRUE(
            holdsInChild([&] { EXPECT_EQ(reportText(monitor, L"grandchild"), dx::Satisfied); }));
    }));
    EXPECT_TRUE(holdsInChild([] {})); // which is no reason for one
    EXPECT_EQ(reportText(monitor, L"two"), dx::Satisfied);

    EXPECT_EQ(readFile(log), logBytes(plainLog("one\ntwo\n")));
    EXPECT_EQ(files().size(), 2);
    const QStringList entries = entriesOfChildren();
    EXPECT_TRUE(entries.startsWith(seriesNote(2, log)));
    EXPECT_TRUE(entries.contains("child") && entries.contains("again") &&
                entries.contains("grandchild"))
        << qPrintable(entries.join('\n'));
}

TEST_F(LogFork, ChildThatAsksForALogLeavesItsParentsAlone)
{
    Stages settings(folder.path("linked.html"),
                    folder.write("linked-form.html", formOf("<log>\n", "[SITUATION_DSCRP]\n",
                                                            "<!--NEXT_LOG--></log>\n")));
    settings.offerFormExtras(true);
    Zarn* const linked = Zarn::create(&settings);
    ASSERT_TRUE(linked);
    EXPECT_EQ(reportText(linked, L"one"), dx::Satisfied);
    EXPECT_TRUE(holdsInChild([&] { EXPECT_TRUE(linked->reestablishLogFile(false)); }));
    EXPECT_EQ(folder.read("linked.html"), logBytes(plainLog("one\n")));
    EXPECT_EQ(files().size(), 1);
    EXPECT_EQ(reportText(linked, L"two"), dx::Satisfied);
    EXPECT_EQ(folder.read("linked.html"), logBytes(plainLog("one\ntwo\n")));
    Zarn* monitors = linked;
    Zarn::destroy(&monitors, 0, false);
}

TEST_F(LogFork, ChildOfAPlugInEndsItsSituationAndBeginsALog)
{
    static bool isChild = false;
    strings()[101] = L"2~0~2~s~0||``%1`";
    DataSetOf::of(monitor)->getPlugIns()[0] = [](const Zarn*) {
        isChild = fork() == 0;
        return true;
    };
    monitor->respondToSituation(101, nullptr, L"both");
    if (isChild) {
        alarm(20);
        const int code = monitor->getSelfDX_Code();
        _exit(code ? code : reportText(monitor, L"child"));
    }
    int status = -1;
    wait(&status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(reportText(monitor, L"parent"), dx::Satisfied);
    EXPECT_EQ(readFile(log), logBytes(plainLog("both\nparent\n")));
    EXPECT_EQ(entriesOfChildren(), QStringList({seriesNote(2, log), "child"}));
}

TEST_F(LogFork, DialogOfAnotherHoldsUpNeitherForkNorChild)
{
    static std::mutex gate;
    static std::condition_variable changed;
    static bool isShown = false;
    static bool isAnswered = false;
    strings()[101] = L"2~0~2~s~|~``%1`|``%1`";
    monitor->setDisplayDlgBoxFunction([](HWND, const wchar_t*, const wchar_t*, unsigned) {
        std::unique_lock guard(gate);
        isShown = true;
        changed.notify_all();
        changed.wait(guard, [] { return isAnswered; });
        return 0;
    });
    std::thread dialog([&] { monitor->respondToSituation(101, nullptr, L"dialog"); });
    {
        std::unique_lock guard(gate);
        changed.wait(guard, [] { return isShown; });
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(holdsInChild([&] { EXPECT_EQ(reportText(monitor, L"child"), 0); }));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    {
        const std::lock_guard guard(gate);
        isAnswered = true;
    }
    changed.notify_all();
    dialog.join();
    EXPECT_EQ(reportText(monitor, L"parent"), dx::Satisfied);
    EXPECT_EQ(readFile(log), logBytes(plainLog("dialog\nparent\n")));
    EXPECT_EQ(entriesOfChildren(), QStringList({seriesNote(2, log), "child"}));
}
