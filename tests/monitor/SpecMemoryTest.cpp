// A spec that is known from an earlier situation: nothing about it is old. That it means the same
// as the first time is held by ResponseSpecTest.cpp.
#include "Reporter.h"

using namespace zmu_test;

namespace {

/// Reports situation 100 with 7, 8, 9, and answers the last entry.
QString reportNumbers(const Reporter& reporter)
{
    reporter->respondToSituation(100, nullptr, 7U, 8U, 9U);
    return reporter.entries().value(reporter.entries().size() - 1);
}

/// An engine that shows what two of its stages are given.
struct Seeing : ZarnDataForThread {
    static inline QStringList seen;
    bool parseResponseSpecHeader(zmu::u64* fillerStrings) override
    {
        seen += QString::fromWCharArray(m_responseSpecHeader.c_str());
        return ZarnDataForThread::parseResponseSpecHeader(fillerStrings);
    }
    bool formatDescriptionForLogFile() override
    {
        seen += QString::fromWCharArray(m_descriptionForLogFile.c_str());
        return ZarnDataForThread::formatDescriptionForLogFile();
    }
};

} // namespace

TEST(SpecMemory, WhatHasChangedIsSeenAtOnce)
{
    const Reporter reporter(settle);
    strings()[100] = L"2~0~2~u`u|~``Shown`|`0`A %1!u!`";
    for (const wchar_t* first : {L"Pre ", L"New "}) {
        strings()[9000] = first;
        EXPECT_EQ(reportNumbers(reporter), QString::fromWCharArray(first) + "A 7");
    }
    // As long as before, and the first again.
    for (const wchar_t* logged : {L"B", L"C", L"B"}) {
        strings()[100] = std::wstring(L"2~0~2~u|~``Shown`|``") + logged + L" %1!u!`";
        EXPECT_EQ(reportNumbers(reporter), QString::fromWCharArray(logged) + " 7");
    }
    // What there is to show is up to the criteria.
    const u64 criteria = reporter->getBehaviorCriteria();
    for (const u64 present : {criteria, u64{0}, criteria}) {
        shown() = {};
        DataSetOf::of(reporter.get())->setBehaviorCriteria(present);
        EXPECT_EQ(reportNumbers(reporter), "B 7");
        EXPECT_EQ(shown().count, present ? 1 : 0);
    }
    // An argument that is missing is told by the stage that misses it.
    reporter->respondToSituation(100, static_cast<char**>(nullptr), nullptr);
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::FillersWithoutCursor);
    reporter.recover();
    EXPECT_EQ(reportNumbers(reporter), "B 7");
    strings().erase(100);
    reporter.report(100);
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::SpecNotLoaded);
}

TEST(SpecMemory, EachSituationsFillersAreJudged)
{
    const Reporter reporter(settle);
    strings()[100] = L"2~0~2~s|~``Shown %1!s!`|``Logged`";
    for (int round = 0; round < 3; ++round) {
        shown() = {};
        reporter->respondToSituation(100, nullptr, L"text");
        EXPECT_EQ(shown().text, L"Shown text");
        reporter->respondToSituation(100, nullptr, 7U); // would be read as an address
        EXPECT_EQ(reporter->getSelfDX_Code(), dx::FormatDisplayFailed);
        reporter.recover();
        reporter->respondToSituation(100, nullptr, "narrow");
        EXPECT_EQ(reporter->getSelfDX_Code(), dx::FormatDisplayFailed);
        reporter.recover();
        EXPECT_EQ(shown().count, 1);
    }
}

TEST(SpecMemory, ModulesAreToldApart)
{
    constexpr int seriesSituation = 10006;
    const Reporter reporter;
    ZarnData* const data = DataSetOf::of(reporter.get());
    ASSERT_TRUE(data->learnSelfResourceModule());
    HMODULE const library = data->getSelfResourceModule();
    strings()[seriesSituation] = L"1~-1~2~u`s~||``Mine %1!u!.`";
    for (int i = 0; i < 2; ++i) {
        reporter->respondToSituation(seriesSituation, library, 4U, L"a");
        reporter->respondToSituation(seriesSituation, nullptr, 5U, L"a");
    }
    reporter->respondToSituation(100, library); // unknown there
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::SpecNotLoaded);
    reporter.recover();
    EXPECT_EQ(reporter->setResourceModule(nullptr), nullptr); // ignored
    void* const program = reporter->setResourceModule(library);
    EXPECT_EQ(program, GetModuleHandleW(nullptr)); // each module stood in for one situation
    reporter->respondToSituation(seriesSituation, nullptr, 6U, L"a");
    reporter->setResourceModule(program);
    reporter->respondToSituation(seriesSituation, nullptr, 7U, L"a");
    const QString series = "This log file is #%1 in a series that began with a.";
    EXPECT_EQ(reporter.entries(), (QStringList{series.arg(4), "Mine 5.", series.arg(4), "Mine 5.",
                                               series.arg(6), "Mine 7."}));
}

TEST(SpecMemory, PlacesAreShared)
{
    const Reporter reporter(settle);
    QStringList expected;
    for (int round = 0; round < 2; ++round) {
        for (unsigned id = 100; id < 300; id += 25) {
            strings()[id] = L"2~0~2~u||``Spec " + std::to_wstring(id) + L" %1!u!`";
            reporter->respondToSituation(static_cast<int>(id), nullptr, id);
            expected += QString("Spec %1 %1").arg(id);
        }
        strings()[100] = L"2~0||``" + std::wstring(400, L'x') + L"`"; // too long to be kept
        reporter.report(100);
        expected += QString(400, 'x');
    }
    EXPECT_EQ(reporter.entries(), expected);
}

TEST(SpecMemory, AReplacedStageSeesEverySituation)
{
    const Reporter reporter([](OpenData& data) {
        data.setEngineFactory([]() -> ZarnDataForThread* { return new Seeing; });
    });
    strings()[100] = L"2~0~2~u||``A %1!u!`";
    EXPECT_EQ(reportNumbers(reporter), "A 7");
    EXPECT_EQ(reportNumbers(reporter), "A 7");
    const QStringList once{"2~0~2~u", "A %1!u!"};
    EXPECT_EQ(Seeing::seen, once + once);
}
