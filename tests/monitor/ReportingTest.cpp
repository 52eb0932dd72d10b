// Delivery of a described situation: the log, the display, a rollover, and what fails first.
#include "Reporter.h"

#include <zmu/foundation/UTL_Exception.h>

#include <stdexcept>

using namespace zmu_test;

namespace {

int failToShow(HWND, const wchar_t*, const wchar_t*, unsigned int)
{
    ++shown().count;
    throw std::runtime_error("no window");
}

/// Makes the log beyond use: a form whose entries outgrow every buffer.
Reporter::Change withBrokenLog(const Folder& folder)
{
    std::wstring form = folder.write("form.html", "^HEAD\n<html>\n^BODY\n" + QByteArray(1500, 'x') +
                                                      "[SITUATION_DSCRP]\n^TAIL\n</html>\n");
    return [form](OpenData& data) {
        std::wstring name = data.getFileLogName();
        data.recordLogFileNomenclature(name.data(), form.c_str(), Zarn_LOG_HTML);
    };
}

} // namespace

TEST(Reporting, CriteriaGateTheDisplayOnly)
{
    strings()[100] = L"2~0|~``Shown.`|``Logged.`";
    strings()[101] = L"2~0||``Logged.`";
    strings()[102] = L"2~0|~``%99`|``Logged.`"; // not even read where it is not shown
    const Reporter reporter;
    shown().answer = 6;
    reporter.report(100);
    EXPECT_EQ(reporter->getDisplayDlgBoxResult(), 6); // outlives its situation
    EXPECT_EQ(reporter->getSituationID(), 0);
    reporter.report(101);
    EXPECT_EQ(reporter->getDisplayDlgBoxResult(), 0); // nothing was asked

    reporter->setBehaviorCriteria(0);
    reporter.report(100);
    reporter.report(102);
    EXPECT_EQ(reporter->getSelfDX_Code(), 0);
    EXPECT_EQ(shown().count, 1);
    reporter->setBehaviorCriteria(ZARN_RESPOND_MASK);
    reporter.report(100);
    EXPECT_EQ(shown().count, 2);
    EXPECT_EQ(reporter.entries().size(), 5);
}

TEST(Reporting, DisplayFailsAfterTheLogIsWritten)
{
    strings()[100] = L"2~0|&|``Told.`";
    strings()[101] = L"2~0||``Told.`";
    const Reporter reporter;
    reporter->setDisplayDlgBoxFunction(nullptr);
    reporter.report(100);
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::DisplayFunctionMissing);
    wchar_t text[16];
    EXPECT_TRUE(reporter->getDescriptionForLogFile(text, 16));
    EXPECT_STREQ(text, L"Told.");
    reporter.recover();

    reporter->setDisplayDlgBoxFunction(failToShow);
    Traces traces;
    reporter.report(100);
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::DisplayFunctionThrew);
    EXPECT_EQ(reporter->getDisplayDlgBoxResult(), 0);
    const QString traced = traces.take();
    EXPECT_EQ(traced, "ZarnDataForThread::reportDescriptions () caught exception #5.\n");
    reporter.recover();

    reporter->setDisplayDlgBoxFunction(nullptr);
    reporter.report(101); // has nothing to show
    EXPECT_EQ(reporter->getSelfDX_Code(), 0);
    EXPECT_EQ(reporter.entries(), (QStringList{"Told.", "Told.", "Told."}));
}

TEST(Reporting, LogFailureComesFirstAndTheDisplayIsStillTold)
{
    strings()[100] = L"2~0|&|``Told.`";
    const Folder forms;
    const Reporter reporter(withBrokenLog(forms));
    ASSERT_TRUE(reporter.get()) << reporter.createCode();
    const QByteArray before = readFile(reporter.logName());

    reporter->setDisplayDlgBoxFunction(failToShow);
    reporter.report(100);
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::SectionNotFormatted);
    EXPECT_EQ(shown().count, 1);
    EXPECT_EQ(reporter->getSituationID(), 100);
    EXPECT_EQ(readFile(reporter.logName()), before);
}

namespace {

/// Sets the lowest limit and fills the log nearly up to it.
void fillToTheLimit(Zarn* monitor, const std::wstring& logName)
{
    strings()[1] = L"2~0~2~s||``%1`";
    u64 previous = 0;
    ASSERT_TRUE(monitor->setLogFileByteCountLimit(1048576, previous));
    const std::wstring text(900, L'x');
    for (int i = 0; i < 1000 && readFile(logName).size() < 1048576 - 4000; ++i)
        monitor->respondToSituation(1, nullptr, text.c_str());
    ASSERT_EQ(monitor->getSelfDX_Code(), 0);
}

std::wstring currentLog(const Zarn* monitor)
{
    wchar_t name[512] = {};
    EXPECT_TRUE(monitor->getFileLogName(name, 512));
    return name;
}

} // namespace

TEST(Reporting, RolloverKeepsTheSituationInHand)
{
    static int plugInsRun;
    strings()[100] = L"2~0~2~s`u~0|~``Ask.`|``%1 %2!u!`";
    const Reporter reporter([](OpenData& data) {
        *data.createPlugIns(1) = [](const Zarn* monitor) {
            EXPECT_EQ(monitor->getSituationID(), 100);
            EXPECT_EQ(monitor->getDescriptionFillers()[1], 42U);
            EXPECT_EQ(monitor->getDisplayDlgBoxResult(), 7);
            ++plugInsRun;
            return true;
        };
    });
    ASSERT_TRUE(reporter.get());
    fillToTheLimit(reporter.get(), reporter.logName());
    shown().answer = 7;
    const std::wstring text(900, L'z');
    std::wstring log = reporter.logName();
    for (int i = 0; i < 10 && log == reporter.logName(); ++i) {
        plugInsRun = 0;
        EXPECT_TRUE(reporter->respondToSituation(100, nullptr, text.c_str(), 42U));
        log = currentLog(reporter.get());
    }
    ASSERT_NE(log, reporter.logName());
    EXPECT_EQ(reporter->getSelfDX_Code(), 0);
    EXPECT_EQ(reporter->getDisplayDlgBoxResult(), 7);
    EXPECT_EQ(plugInsRun, 1);
    EXPECT_TRUE(reporter->isSituationNormal());
    EXPECT_TRUE(reporter.entries().last().startsWith("zzz")); // whole, in the old file
    const QStringList successor = entriesOf(log);
    ASSERT_EQ(successor.size(), 1);
    EXPECT_TRUE(successor[0].startsWith("This log file is #2 in a series"))
        << qPrintable(successor[0]);

    reporter->respondToSituation(100, nullptr, L"next", 42U);
    EXPECT_EQ(entriesOf(log).size(), 2);
}

TEST(Reporting, FailedRolloverOutranksTheDisplay)
{
    strings()[100] = L"2~0~2~s|&|``%1`";
    const Folder folder;
    const std::wstring logName = folder.path("log.html");
    Monitor monitor(logName);
    ASSERT_TRUE(monitor.get());
    fillToTheLimit(monitor.get(), logName);
    const std::wstring text(900, L'x');

    setLogDirectory(L""); // a successor has no place
    monitor->setDisplayDlgBoxFunction(failToShow);
    int code = dx::DisplayFunctionThrew;
    for (int i = 0; i < 10 && code == dx::DisplayFunctionThrew; ++i) {
        monitor->forgetSelfDX_Code();
        monitor->respondToSituation(100, nullptr, text.c_str());
        code = monitor->getSelfDX_Code();
    }
    EXPECT_EQ(code, dx::RolloverFailed);
    EXPECT_EQ(monitor->getSituationID(), 100);
}

TEST(Reporting, NestedReportOfAnotherMonitorIsItsOwn)
{
    strings()[100] = L"2~0~2~u`s|&|``%1!u! %2`";
    strings()[200] = L"2~0~2~u||``Inner %1!u!`";
    static const Reporter* inner;
    const Reporter outer;
    const Reporter other;
    inner = &other;
    outer->setDisplayDlgBoxFunction([](HWND, const wchar_t*, const wchar_t*, unsigned int) {
        inner->get()->respondToSituation(200, nullptr, 9U);
        return 1;
    });
    outer->respondToSituation(100, nullptr, 1U, L"outer");
    EXPECT_EQ(outer->getSelfDX_Code(), 0);
    EXPECT_EQ(outer.entries(), QStringList{"1 outer"});
    EXPECT_EQ(other.entries(), QStringList{"Inner 9"});
}

TEST(Reporting, EngineAtWorkIsNotRemoved)
{
    strings()[100] = L"2~0~2~s|&|``%1`";
    static const Reporter* reporting;
    const Reporter reporter;
    reporting = &reporter;
    reporter->setDisplayDlgBoxFunction([](HWND, const wchar_t* text, const wchar_t*, unsigned int) {
        EXPECT_FALSE((*reporting)->removeThread());
        EXPECT_EQ((*reporting)->getSelfDX_Code(), dx::RemoveThreadFailed);
        (*reporting)->forgetSelfDX_Code();
        EXPECT_STREQ(text, L"at work");
        return 1;
    });
    reporter->respondToSituation(100, nullptr, L"at work");
    EXPECT_EQ(reporter->getSelfDX_Code(), 0);
    EXPECT_EQ(reporter->getDisplayDlgBoxResult(), 1);
    EXPECT_TRUE(reporter->removeThread());
}

TEST(Reporting, ModuleStandsInForOneSituation)
{
    strings()[100] = L"2~0||``The program's.`";
    const Reporter reporter;
    void* const library = GetModuleHandleW(L"zmu.dll");
    reporter->respondToSituation(10006, library, 3U, L"this");
    EXPECT_EQ(reporter->getSelfDX_Code(), 0);
    reporter->respondToSituation(100, library); // unknown there
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::SpecNotLoaded);
    reporter.recover();
    reporter.report(100);
    EXPECT_EQ(reporter->setResourceModule(nullptr), nullptr); // ignored
    reporter.report(100);
    EXPECT_EQ(reporter.entries(),
              (QStringList{"This log file is #3 in a series that began with this.",
                           "The program's.", "The program's."}));
}
