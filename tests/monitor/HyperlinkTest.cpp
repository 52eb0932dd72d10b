#include "Reporter.h"

using namespace zmu_test;

TEST(Hyperlink, NamesTheCodeTwice)
{
    const struct {
        unsigned int id;
        ulong32 number;
        int code;
        const wchar_t* text;
    } rows[] = {
        {10001, 5, 0, L"<a href=\"Codes/WBT.html#5\">WBT5</a>"},
        {10002, 0xFFFFFFFF, 0, L"<a href=\"Codes/WDB.html#-1\">WDB-1</a>"},
        {10003, 0xFFFFFFFF, 0, L"<a href=\"Codes/WLE.html#4294967295\">WLE4294967295</a>"},
        {10005, 0, 0, L"<a href=\"Codes/WSW.html#0\">WSW0</a>"},
        {10007, 1, 0, L"Unknown"}, // no place for the number
        {14015, 1, dx::HyperlinkEmpty, nullptr},
        {14011, 1, dx::HyperlinkNotPrinted, nullptr}, // asks for a string
        {999, 1, dx::HyperlinkEmpty, nullptr},
    };
    const Reporter reporter;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.id);
        UTL_String out(L"before");
        const wchar_t* const text = reporter->formatLogHyperlink(row.number, row.id, out);
        EXPECT_EQ(reporter->getSelfDX_Code(), row.code);
        EXPECT_EQ(text == nullptr, row.text == nullptr);
        EXPECT_STREQ(out.wideText(), row.text ? row.text : L"");
        reporter->forgetSelfDX_Code();
    }

    EXPECT_STREQ(reporter->formatLogHyperlinkWinSDK(2), L"<a href=\"Codes/WLE.html#2\">WLE2</a>");
}

TEST(Hyperlink, IsMadeAfterAFailureThatIsForgiven)
{
    for (const Zarn_TOLERANCE tolerance : {Zarn_TOLERANCE_NONE, Zarn_TOLERANCE_FORGIVING}) {
        const Reporter reporter([=](OpenData& data) { data.setSelfDX_FaultTolerance(tolerance); });
        const bool forgives = tolerance == Zarn_TOLERANCE_FORGIVING;
        UTL_String out;
        reporter.report(999);
        EXPECT_EQ(reporter->formatLogHyperlink(2, 10003, out) != nullptr, forgives);
        reporter.report(999);
        EXPECT_EQ(reporter->formatLogHyperlinkWinSDK(2) != nullptr, forgives);
        EXPECT_EQ(reporter->getSelfDX_Code(), forgives ? 0 : dx::SpecNotLoaded);
    }
}

TEST(Hyperlink, NeedsTheLockAndTheLibrary)
{
    OpenData unset;
    UTL_String out(L"before");
    EXPECT_EQ(unset.formatLogHyperlink(1, 10001, out), nullptr);
    EXPECT_EQ(unset.getSelfDX_Code(), dx::OwnModuleUnknown);
    EXPECT_STREQ(out.wideText(), L"");

    Established data;
    data.refusesToEnter = true;
    EXPECT_EQ(data.formatLogHyperlink(1, 10001, out), nullptr);
    EXPECT_EQ(data.getSelfDX_Code(), dx::HyperlinkLockRefused);
    data.forgetSelfDX_Code();
    data.refusesToEnter = false;
    data.refusesToLeave = true;
    EXPECT_EQ(data.formatLogHyperlink(1, 10001, out), nullptr);
    EXPECT_EQ(data.getSelfDX_Code(), dx::HyperlinkLockNotLeft);
    EXPECT_STREQ(out.wideText(), L"");
    data.forgetSelfDX_Code();
    data.refusesToLeave = false;
    EXPECT_NE(data.formatLogHyperlink(1, 10001, out), nullptr);
}
