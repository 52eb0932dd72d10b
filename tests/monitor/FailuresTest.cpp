// What a situation that failed says: the trace line, the host's function, the description of codes.
#include "Reporter.h"

#include <zmu/owner/ZgwCodes.h>

#include <atomic>

using namespace zmu_test;

namespace {

struct Failure {
    int situationID = 0;
    int code = 0;
    std::wstring name;
    std::wstring text;
};

std::vector<Failure>& told()
{
    static std::vector<Failure> failures;
    return failures;
}

void tell(int situationID, int code, const wchar_t* name, const wchar_t* text)
{
    told().push_back({situationID, code, name, text});
}

/// The trace line of a failure.
QString lineOf(const Failure& failure)
{
    return QStringLiteral("ZarnDataForThread::respondToSituation () situation %1 failed: %2/%3, "
                          "%4.\n")
        .arg(failure.situationID)
        .arg(failure.code)
        .arg(QString::fromStdWString(failure.name), QString::fromStdWString(failure.text));
}

} // namespace

// SpecProofTest.cpp has every mistake with its place: here is what is told of each kind of place.
TEST(Failures, MistakesAreNamedWithTheirPlaces)
{
    const std::wstring x600(600, L'x');
    const struct {
        std::wstring spec;
        const wchar_t* name;
        const wchar_t* place; ///< What follows the meaning of the code.
    } rows[] = {
        // The spec and its fields.
        {L"", L"SpecFields", L""},
        {L"Just a text.", L"SpecFields", L": \"Just a text.\""},
        {L"2~0||||``t`", L"SpecFields", L": \"2~0\""},
        {L"2~0||``" + std::wstring(1100, L'x'), L"SpecTooLong", L": \"2~0||``xxxxxxxxxxxxxxxxx\""},
        {L"||``t`", L"HeaderFieldUnusable", L"; header"},
        {L"2~0|~``" + x600 + L"`|``t`", L"DisplayFieldTooLong",
         L"; display description: \"~``xxxxxxxxxxxxxxxxxxxxx\""},
        // The header.
        {L"2||``t`", L"HeaderGroups", L"; header: \"2\""},
        {L"two~0||``t`", L"KindNotNumber", L"; header, group 1: \"two\""},
        {L"2~0~2~u`x||``t`", L"FillerLetterUnknown", L"; header, group 4, record 2: \"x\""},
        {L"2~0~2~d`d`d`d`d`d`d`d`d`d`d||``t`", L"FillersTooMany",
         L"; header, group 4: \"d`d`d`d`d`d`d`d`d`d`d\""},
        {L"2~0~1~u0`d0`x0||``t`", L"FillerLetterUnknown", L"; header, group 4, record 3: \"x0\""},
        // The descriptions.
        {L"2~0||``a`b`c", L"MessageFormatRecords", L"; log description: \"``a`b`c\""},
        {L"2~0||wide``t`", L"LineWidthNotNumber", L"; log description, record 1: \"wide\""},
        {L"2~0||`4`" + x600 + L"`", L"MessageTextTooLong",
         L"; log description, record 3: \"xxxxxxxxxxxxxxxxxxxxxxxx\""},
        {L"2~0|OK~``a`|``t`", L"DialogSpecFirstNotNumber",
         L"; display description, group 1, record 1: \"OK\""},
        // Inserts and arguments.
        {L"2~0~2~u||``%1!u! %11!u!`", L"FormatLogFailed",
         L"; log description, insert %11; there is no such filler"},
        {L"2~0~2~s`u||``%1!hs! %2`", L"FormatLogFailed",
         L"; log description, insert %1; its filler is a number, not a text"},
        {L"2~0~1~u0`s0||``%1!u! %2!hs!`", L"FormatLogFailed",
         L"; log description, insert %2; its filler is wide, and !hs! is for narrow text"},
        {L"2~0~1~u0|~``%1`|``t`", L"FormatDisplayFailed",
         L"; display description, insert %1; its filler is a number, not a text"},
        {L"2~0~1~u0||``%1!u`", L"FormatLogFailed",
         L"; log description, insert %1; its exclamation mark is not closed"},
        {L"2~0||``100%`", L"FormatLogFailed", L"; log description; a percent sign at the end"},
        {L"2~0|~``%12`|``%13`", L"FormatLogFailed", // the first one counts
         L"; log description, insert %13; there is no such filler"},
        {L"2~0||``%1!900u!%1!900u!`", L"FormatLogFailed",
         L"; log description; the formatter takes no such text, or has no room for the result"},
    };
    const Reporter reporter([](OpenData& data) {
        settle(data);
        data.setFailureFunction(tell);
    });
    Traces traces;
    QString expected;
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.spec.substr(0, 40)));
        told().clear();
        strings()[100] = row.spec;
        reporter->respondToSituation(100, nullptr, 1U, L"text");
        EXPECT_EQ(told().size(), 1U);
        if (told().empty())
            continue;
        const Failure& failure = told().front();
        EXPECT_EQ(failure.situationID, 100);
        EXPECT_EQ(failure.code, reporter->getSelfDX_Code());
        EXPECT_EQ(failure.name, row.name);
        EXPECT_EQ(failure.text, zmu::describe(failure.code).meaning + std::wstring(row.place));
        expected += lineOf(failure);
        reporter.recover();
    }
    EXPECT_EQ(traces.take(), expected);
    EXPECT_EQ(reporter.entries(), QStringList());
}

TEST(Failures, AreToldOnceWhateverFails)
{
    strings()[100] = L"2~0~~~0|&|``t`";
    strings()[200] = L"2~0~9||``t`";
    const Folder folder;
    OpenData data;
    data.setFailureFunction(tell);
    told().clear();
    EXPECT_FALSE(data.respondToSituation());
    ASSERT_EQ(told().size(), 1U);
    EXPECT_EQ(told()[0].text, L"the data set is not initialised");

    makeReady(data, folder.path("log.html"));
    data.createPlugIns(1);
    ASSERT_TRUE(data.establishLogFile(true));
    const auto lastOf = [&](bool succeeded) {
        EXPECT_FALSE(succeeded);
        EXPECT_EQ(told().size(), 1U);
        Failure last = told().empty() ? Failure() : told().back();
        told().clear();
        data.forgetSelfDX_Code();
        data.forgetSituation();
        return last;
    };
    told().clear();

    // Phase by phase, too.
    data.recordSituationID(200);
    EXPECT_EQ(lastOf(data.learnResponse()).text,
              L"the argument source is not 0, 1 or 2, or there are fillers without a source; "
              L"header, group 3: \"9\"");
    data.recordSituationID(200);
    EXPECT_EQ(lastOf(data.describeSituation()).code, dx::ArgSourceUnknown);
    // No place is left over from another situation.
    data.recordSituationID(300);
    const Failure missing = lastOf(data.respondToSituation());
    EXPECT_EQ(missing.situationID, 300);
    EXPECT_EQ(missing.text, L"the resource module has no response spec for the situation");

    // A report that fails, a lock that is refused, a code that is held.
    data.setDisplayDlgBoxFunction(nullptr);
    data.recordSituationID(100);
    EXPECT_EQ(lastOf(data.respondToSituation()).name, L"DisplayFunctionMissing");
    data.refusesToEnter = true;
    data.recordSituationID(100);
    EXPECT_EQ(lastOf(data.respondToSituation()).name, L"LockRefused");
    data.refusesToEnter = false;
    data.recordSituationID(300);
    EXPECT_FALSE(data.respondToSituation());
    told().clear();
    data.recordSituationID(100);
    const Failure held = lastOf(data.respondToSituation());
    EXPECT_EQ(held.situationID, 100);
    EXPECT_EQ(held.name, L"SpecNotLoaded");
    EXPECT_TRUE(held.text.ends_with(L"; refused since an earlier failure left this code"));
    data.setSelfDX_Code(dx::NoMap);
    char* none = nullptr;
    EXPECT_EQ(lastOf(data.respondToSituation(100, &none, nullptr)).name, L"NoMap");
}

TEST(Failures, FunctionHoldsUpNoOtherThreads)
{
    static Zarn* monitor = nullptr;
    static std::atomic<int> calls;
    strings()[100] = L"2~0||``t`";
    const Reporter reporter;
    monitor = reporter.get();
    EXPECT_EQ(reporter->setFailureFunction([](int, int, const wchar_t*, const wchar_t*) {
        ++calls;
        // With the lock held the other thread would never come back.
        std::thread([] { monitor->respondToSituation(100, nullptr); }).join();
        monitor->respondToSituation(999, nullptr); // is not told of, or this would not end
        throw 1;
    }),
              nullptr);
    reporter.report(999);
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::SpecNotLoaded);
    reporter.recover();
    reporter->respondToSituation(999, GetModuleHandleW(nullptr));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(reporter.entries(), (QStringList{"t", "t"}));
}

TEST(Failures, FunctionKeepsItsThread)
{
    static Zarn* monitor = nullptr;
    static bool isRemoved = true;
    const Reporter reporter(
        [](OpenData& data) { data.setSelfDX_FaultTolerance(Zarn_TOLERANCE_FORGIVING); });
    monitor = reporter.get();
    monitor->setFailureFunction([](int, int, const wchar_t*, const wchar_t*) {
        isRemoved = monitor->removeThread(); // whose engine is about to be used
    });
    reporter.report(999);
    EXPECT_FALSE(isRemoved);
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::RemoveThreadFailed);
    reporter.recover();
    EXPECT_TRUE(monitor->removeThread());
}

TEST(Failures, SubstituteEntryKeepsTheNumberInTheLog)
{
    strings()[100] = L"2~0|&|``Fine.`";
    strings()[200] = L"2~0~2~<x||``t`";
    strings()[300] = L"2~0|~``%11`|``This is ready.`";
    strings()[400] = L"2~0|&|``No function shows this.`";
    const QStringList expected = {
        "Fine.",
        ("Situation 200 could not be described: 241/FillerLetterUnknown, a filler is not one of d, "
         "s, u; header, group 4, record 1."),
        "Situation 300 could not be described: 50/FormatDisplayFailed, " +
            QString::fromStdWString(zmu::describe(dx::FormatDisplayFailed).meaning) +
            "; display description, insert %11; there is no such filler.",
        ("Situation 999 could not be described: 255/SpecNotLoaded, the resource module has no "
         "response spec for the situation."),
        "No function shows this.", // was described, so it has its entry
        "Fine."};
    for (const bool isWanted : {false, true}) {
        const Reporter reporter([=](OpenData& data) {
            data.setSelfDX_FaultTolerance(Zarn_TOLERANCE_FORGIVING);
            EXPECT_FALSE(data.setSubstituteEntries(isWanted));
        });
        wchar_t text[32];
        reporter.report(100);
        const int shownBefore = shown().count;
        reporter.report(200);
        EXPECT_EQ(reporter->getSelfDX_Code(), dx::FillerLetterUnknown);
        EXPECT_EQ(reporter->getSituationID(), 200);
        reporter.report(300);
        EXPECT_EQ(reporter->getSelfDX_Code(), dx::FormatDisplayFailed);
        EXPECT_TRUE(reporter->getDescriptionForLogFile(text, 32)); // as far as it got
        EXPECT_STREQ(text, L"This is ready.");
        reporter.report(999);
        EXPECT_EQ(reporter->getSelfDX_Code(), dx::SpecNotLoaded);
        EXPECT_EQ(shown().count, shownBefore);
        const auto show = reporter->setDisplayDlgBoxFunction(nullptr);
        reporter.report(400);
        EXPECT_EQ(reporter->getSelfDX_Code(), dx::DisplayFunctionMissing);
        reporter->setDisplayDlgBoxFunction(show);
        reporter.report(100);
        EXPECT_EQ(reporter->getSelfDX_Code(), 0);
        EXPECT_EQ(reporter.entries(),
                  isWanted ? expected : (QStringList{"Fine.", expected[4], "Fine."}));
        EXPECT_EQ(logText(reporter.logName()).count("<!-- SituationID=200 -->"), isWanted ? 1 : 0);
    }
}

TEST(Failures, CodesAreDescribed)
{
    for (const int unknown : {-1, 16, 100000})
        EXPECT_STREQ(zmu::describe(unknown).name, L"Unknown");
    EXPECT_STREQ(zmu::describeOwnerCode(zmu::zgw::BranderMissing).name, L"BranderMissing");
    EXPECT_STREQ(zmu::describeOwnerCode(0).name, L"Success");
    EXPECT_STREQ(zmu::describeOwnerCode(-1).name, L"Unknown");
}
