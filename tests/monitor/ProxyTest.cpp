// The road of a process without a log of its own, up to a stand-in for the proxy.
#include "modules/Proxy.h"
#include "Reporter.h"

#include <QLibrary>

using namespace zmu_test;

namespace {

constexpr i64 instantiator = 0x123456789;

/// Loads a stand-in, so that the library finds it loaded.
ProxyNotes* load(const wchar_t* path)
{
    QLibrary module(QString::fromWCharArray(path));
    const auto notes = reinterpret_cast<ProxyNotesFunction>(module.resolve("proxyNotes"));
    return notes ? notes() : nullptr;
}

} // namespace

TEST(Proxy, IsNeededForACreation)
{
    EXPECT_EQ(Reporter({}, instantiator).createCode(), dx::ProxyModuleNotLoaded);
    ASSERT_TRUE(load(PROXY_THAT_silent));
    EXPECT_EQ(Reporter({}, instantiator).createCode(), dx::ProxyEntryNotFound);
}

TEST(Proxy, IsToldWhatTheCriteriaApprove)
{
    ProxyNotes* const notes = load(PROXY_THAT_answers);
    ASSERT_TRUE(notes);
    const Reporter reporter({}, instantiator);
    ASSERT_TRUE(reporter.get()) << reporter.createCode();
    struct Row {
        const wchar_t* spec;
        u64 criteria;
        int answer;
        bool throws;
        int code;
        int calls;
        unsigned int enablements;
    };
    constexpr u64 level3 = ZARN_RESPOND_MASK | u64(3) << 29;
    const Row rows[] = {
        {L"1~0~2~u|&|``Said %1!u!.`", ZARN_RESPOND_MASK, 1, false, 0, 1, 11},
        {L"1~-1~2~u|&|``Said %1!u!.`", 0, 1, false, 0, 0, 0},              // not even the display
        {L"2~1610612736~2~u|&|``Said %1!u!.`", level3, 1, false, 0, 1, 2}, // level 3
        {L"2~2147483648~2~u|&|``Said %1!u!.`", level3, 1, false, 0, 0, 0}, // level 4
        {L"2~0~2~u|&|``Said %1!u!.`", level3, 1, false, 0, 0, 0},
        {L"2~-1~2~u|&|``Said %1!u!.`", ~u64(0), -1, false, 0, 1, 63},
        {L"1~0~2~u|&|``Said %1!u!.`", ZARN_RESPOND_MASK, 0, false, dx::ReportProxyFailed, 1, 11},
        {L"1~0~2~u|&|``Said %1!u!.`", ZARN_RESPOND_MASK, 1, true, dx::ReportProxyFailed, 1, 11},
        {L"1~0~2~u|~``Said.`|```", ZARN_RESPOND_MASK, 0, false, 0, 0, 0}, // nothing for the log
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message()
                     << testing::PrintToString(std::wstring(row.spec)) << row.criteria);
        strings()[100] = row.spec;
        reporter->setBehaviorCriteria(row.criteria);
        *notes = {};
        notes->answer = row.answer;
        notes->throws = row.throws;
        shown() = {};

        reporter->respondToSituation(100, nullptr, 8U);

        EXPECT_EQ(reporter->getSelfDX_Code(), row.code);
        EXPECT_EQ(notes->calls, row.calls);
        EXPECT_EQ(notes->enablements, row.enablements);
        if (row.calls) {
            EXPECT_EQ(notes->instantiatorID, instantiator);
            EXPECT_EQ(notes->situationID, -100);
            EXPECT_STREQ(notes->format, L"%s");
            EXPECT_STREQ(notes->description, L"Said 8.");
        }
        EXPECT_EQ(shown().count, row.criteria ? 1 : 0); // told whatever the proxy said
        if (row.code)
            reporter.recover();
    }
    EXPECT_EQ(reporter.folder().files(), QStringList()); // no log of its own
}

TEST(Proxy, SituationZeroIsRefused)
{
    ProxyNotes* const notes = load(PROXY_THAT_answers);
    ASSERT_TRUE(notes);
    strings()[0] = L"1~0||``Said.`";
    const Reporter reporter({}, instantiator);
    reporter.report(0);
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::ReportProxyFailed);
    EXPECT_EQ(notes->calls, 0);

    Established data(instantiator);
    struct Row {
        int situationID;
        unsigned int kind;
        const wchar_t* description;
    };
    for (const Row& row : {Row{0, 1, L"x"}, Row{-1, 1, L"x"}, Row{1, 0, L"x"}, Row{1, 3, L"x"},
                           Row{1, 1, L""}, Row{1, 1, nullptr}}) {
        EXPECT_FALSE(
            data.logSituationDescriptionViaProxy(row.situationID, row.kind, 0, row.description));
        EXPECT_EQ(data.getSelfDX_Code(), dx::ProxyArguments);
        data.forgetSelfDX_Code();
    }
    EXPECT_EQ(notes->calls, 0);
    EXPECT_TRUE(data.logSituationDescriptionViaProxy(2147483647, 1, 0, L"x"));
    EXPECT_EQ(notes->situationID, -2147483647);
}
