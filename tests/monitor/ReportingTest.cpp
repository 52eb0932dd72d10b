// Delivery of a described situation: the log, the display, and what fails first.
#include "Reporter.h"

#include <stdexcept>

using namespace zmu_test;

namespace {

int failToShow(HWND, const wchar_t*, const wchar_t*, unsigned int)
{
    ++shown().count;
    throw std::runtime_error("no window");
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
    EXPECT_TRUE(traces.take().startsWith(
        "ZarnDataForThread::reportDescriptions () caught exception #5.\n"));
    reporter.recover();

    strings()[102] = L"2~0|&|``" + std::wstring(1014, L'y') + L"`"; // too long for an entry
    reporter.report(102);
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::SectionNotFormatted); // the log's failure counts
    EXPECT_EQ(shown().count, 2);
    reporter.recover();

    reporter->setDisplayDlgBoxFunction(nullptr);
    reporter.report(101); // has nothing to show
    EXPECT_EQ(reporter->getSelfDX_Code(), 0);
    EXPECT_EQ(reporter.entries(), (QStringList{"Told.", "Told.", "Told."}));
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
    inner = nullptr;
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
    reporting = nullptr;
}
