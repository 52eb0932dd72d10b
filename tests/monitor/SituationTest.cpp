// The life of a situation: phase by phase, what a failure leaves, stages that are replaced.
#include "Reporter.h"

using namespace zmu_test;

TEST(Situation, CanBeDrivenByPhases)
{
    strings()[100] = L"2~0~1~u0|~``Display %1!u!.`|``Log %1!u!.`";
    Established data;
    EXPECT_EQ(data.recordSituationID(100), 0);
    data.recordArgument(5U, 0);

    ASSERT_TRUE(data.learnResponse());
    EXPECT_STREQ(data.getDescriptionForDisplay(), L"Display 5.");
    EXPECT_STREQ(data.getDescriptionForLogFile(), L"Log 5.");
    EXPECT_EQ(data.entries(), QStringList());
    ASSERT_TRUE(data.reportDescriptions());
    ASSERT_TRUE(data.reportDescriptions()); // as often as one likes
    EXPECT_EQ(data.entries(), (QStringList{"Log 5.", "Log 5."}));
    EXPECT_EQ(data.getSituationID(), 100);
    ASSERT_TRUE(data.forgetSituation());
    EXPECT_STREQ(data.getDescriptionForDisplay(), L"");
    EXPECT_STREQ(data.getDescriptionForLogFile(), L"");
    EXPECT_EQ(data.getDescriptionFillers()[0], 0U);
    EXPECT_EQ(data.recordArgument(1U, ZARN_ARG_NEXT), 0);
    EXPECT_TRUE(data.isSituationNormal());
    ASSERT_TRUE(data.reportDescriptions()); // nothing to report
    EXPECT_EQ(data.entries().size(), 2);
    EXPECT_EQ(shown().count, 2);
}

TEST(Situation, RemoteIDIsShownForOneSituation)
{
    strings()[100] = L"2~0||``t`";
    const Reporter reporter;
    EXPECT_EQ(reporter->recordSituationID_Remote(777), 0);
    reporter.report(100);
    reporter.report(100);
    const QString text = logText(reporter.logName());
    EXPECT_EQ(text.count("SituationID=777 "), 1);
    EXPECT_EQ(text.count("SituationID=100 "), 1);
}

TEST(Situation, FailureLeavesWhatTheCallerGave)
{
    strings()[100] = L"2~0~1~u0`u1`u2~||``%1!u! %2!u! %3!u!`";
    strings()[200] = L"2~0~1~u0~|~``Display.`|``%99`";
    strings()[300] = L"2~0~1~u0`x0~|~``Display.`|``t`";
    const Reporter reporter;
    wchar_t text[16];

    reporter->recordSituationID(200);
    reporter->recordArgument(7U, ZARN_ARG_NEXT);
    EXPECT_FALSE(reporter->respondToSituation());
    EXPECT_EQ(reporter->getSituationID(), 200);
    EXPECT_EQ(reporter->getArg_UInt(0), 7U);
    EXPECT_EQ(reporter->getDescriptionFillers()[0], 7U);
    EXPECT_TRUE(reporter->getDescriptionForDisplay(text, 16));
    EXPECT_STREQ(text, L"Display."); // this one could be filled
    EXPECT_TRUE(reporter->getDescriptionForLogFile(text, 16));
    EXPECT_STREQ(text, L"");
    EXPECT_EQ(shown().count, 0);

    reporter->forgetSelfDX_Code();
    EXPECT_EQ(reporter->recordSituationID(300), 200);
    EXPECT_EQ(reporter->recordArgument(8U, ZARN_ARG_NEXT), 1); // behind the other's
    EXPECT_FALSE(reporter->respondToSituation());
    EXPECT_EQ(reporter->getDescriptionFillers()[0], 0U); // the phase that failed tidies up
    EXPECT_TRUE(reporter->getDescriptionForDisplay(text, 16));
    EXPECT_STREQ(text, L"");

    reporter->forgetSelfDX_Code();
    reporter->recordSituationID(100);
    reporter->recordArgument(9U, ZARN_ARG_NEXT);
    EXPECT_TRUE(reporter->respondToSituation());
    EXPECT_EQ(reporter.entries(), QStringList{"7 8 9"});
}

TEST(Situation, TextsOfOneDoNotShowThroughInTheNext)
{
    strings()[100] = L"2~0|~``A long text for the display.`|``A long text for the log.`";
    strings()[101] = L"2~0|&|``Log.`";
    strings()[102] = L"2~0|17~``D.`|5``a b c d e`";
    const Reporter reporter;
    for (const int id : {100, 101, 102, 101, 100}) {
        reporter.report(id);
        EXPECT_EQ(shown().type, id == 102 ? 17U : 48U);
    }
    EXPECT_EQ(shown().text, L"A long text for the display.");
    EXPECT_EQ(reporter.entries(),
              (QStringList{"A long text for the log.", "Log.", asLogText("a b\r\nc d\r\ne"), "Log.",
                           "A long text for the log."}));

    // Nor does what a text loses when it is wrapped.
    strings()[100] = L"2~0|~20``aaa" + std::wstring(14, L' ') + L"bbb`|``Log.`";
    strings()[101] = L"2~0|~20``ccccccccc`|``Log.`";
    reporter.report(100);
    reporter.report(101);
    EXPECT_EQ(shown().text, L"ccccccccc");
}

TEST(Situation, TextsOfAFailedOneAreNotReadAgain)
{
    strings()[100] = L"2~0~2~s`u||``%3!u!%99`";
    strings()[101] = L"2~0||``%1 %2!u!`";
    const Reporter reporter;
    reporter->respondToSituation(100, nullptr, L"gone", 7U);
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::FormatLogFailed);
    reporter->forgetSelfDX_Code();
    reporter->respondToSituation(101, nullptr);
    EXPECT_EQ(reporter.entries(), QStringList{"(null) 7"});
}

TEST(Situation, StagesCanBeReplaced)
{
    class Own : public ZarnDataForThread {
      public:
        u64 collected[3] = {};
        std::wstring told;
        mutable int enteredCount = 0;
        mutable int leftCount = 0;

      private:
        bool enterCriticalSection() const override
        {
            ++enteredCount;
            return ZarnDataForThread::enterCriticalSection();
        }
        bool leaveCriticalSection() const override
        {
            ++leftCount;
            return ZarnDataForThread::leaveCriticalSection();
        }
        bool learnResponseSpecs(u64*) override
        {
            return ZarnDataForThread::learnResponseSpecs(collected);
        }
        bool obtainResponseSpecs() override
        {
            m_responseSpecHeader.assign(L"1~0~1~s1`u0`s0");
            m_descriptionForDisplay.assign(L"~``Mine.`");
            return m_descriptionForLogFile.assign(L"``Own %2!u!.`");
        }
        bool reportDescriptionToDisplay() override
        {
            told = getDescriptionForDisplay();
            return true;
        }
    };
    Folder folder;
    OpenData data;
    makeReady(data, folder.path("log.html"));
    data.setCharSetExternal(0); // string fillers are collected for narrow sets only
    ASSERT_TRUE(data.establishLogFile(true));
    Own engine;
    ASSERT_TRUE(engine.initialize(&data));
    const char* const texts[] = {"zero", "one"};
    engine.recordArgument(texts[0], 0);
    engine.recordArgument(texts[1], 1);
    engine.recordArgument(4U, 0);
    engine.recordSituationID(12345); // no module knows it

    EXPECT_TRUE(engine.respondToSituation()) << engine.getSelfDX_Code();
    EXPECT_EQ(engine.told, L"Mine.");
    EXPECT_EQ(engine.collected[0], reinterpret_cast<std::uintptr_t>(texts[1]));
    EXPECT_EQ(engine.collected[1], reinterpret_cast<std::uintptr_t>(texts[0]));
    EXPECT_EQ(engine.collected[2], 0U);
    EXPECT_EQ(entriesOf(folder.path("log.html")), QStringList{"Own 4."});
    EXPECT_EQ(shown().count, 0);
    EXPECT_EQ(engine.enteredCount, 7); // the situation, two reports, two sections and their texts
    EXPECT_EQ(engine.leftCount, 7);
}
