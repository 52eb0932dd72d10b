// Response specs: which text gives which report, or which code. SpecProofTest.cpp has the ordinary
// mistakes, with their places.
#include "Reporter.h"

using namespace zmu_test;

namespace {

struct Row {
    std::wstring spec;
    int code;
    std::wstring logged{};
    std::wstring shown{};
    unsigned int type = 48;
};

/// Reports each spec with arguments from both sources: the cursor gives -5, 4000000000, "text" and
/// a null string, and so do the slots d0, u0, s0 and s1; d1 is 6. The second time it is known.
void expectReports(const std::vector<Row>& rows)
{
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.spec.substr(0, 200)));
        const Reporter reporter(settle);
        ASSERT_TRUE(reporter.get()) << reporter.createCode();
        strings()[100] = row.spec;
        for (int round = 1; round <= 2; ++round) {
            shown() = {};
            reporter->recordArgument(-5, 0);
            reporter->recordArgument(6, 1);
            reporter->recordArgument(4000000000U, 0);
            reporter->recordArgument(L"text", 0);

            reporter->respondToSituation(100, nullptr, -5, 4000000000U, L"text",
                                         static_cast<const wchar_t*>(nullptr));

            EXPECT_EQ(reporter->getSelfDX_Code(), row.code);
            EXPECT_EQ(reporter->isSituationNormal(), row.code == 0);
            const QStringList entries = reporter.entries();
            EXPECT_EQ(entries.size(), row.logged.empty() ? 0 : round);
            EXPECT_EQ(entries.value(round - 1), asLogText(QString::fromStdWString(row.logged)));
            EXPECT_EQ(shown().text, row.shown);
            EXPECT_EQ(shown().count, row.shown.empty() ? 0 : 1);
            EXPECT_EQ(shown().type, row.shown.empty() ? 0 : row.type);
            reporter.recover();
        }
    }
}

std::wstring run(std::size_t length, wchar_t character)
{
    return std::wstring(length, character);
}

} // namespace

TEST(ResponseSpec, Fields)
{
    const std::wstring y1014 = run(1014, L'y');
    expectReports({
        {L"2~0||``Plain.`", 0, L"Plain."},
        {L"2~0~0~" + run(249, L' ') + L"||``Plain.`", 0, L"Plain."}, // 255 characters
        {L"2~0~0~" + run(250, L' ') + L"||``Plain.`", dx::HeaderFieldUnusable},
        {L"2~0|~255``" + run(504, L'x') + L"`|``Plain.`", 0, L"Plain.", run(504, L'x')}, // 511
        {L"2~0|~255``" + run(505, L'x') + L"`|``Plain.`", dx::DisplayFieldTooLong},
        // The longest text that a module can hand out; an entry has no room for it.
        {L"2~0|&|``" + y1014 + L"`", dx::SectionNotFormatted, L"", y1014},
        {L"2~0|&|``" + y1014 + L"y`", dx::SpecTooLong},
    });
}

TEST(ResponseSpec, HeaderGroups)
{
    expectReports({
        {L"2~0~0~~||``t`", 0, L"t"},
        // The approval kind.
        {L"~0||``t`", dx::KindNotNumber},
        {L"0~0||``t`", dx::KindOutOfRange},
        {L"99999999999~0||``t`", dx::KindOutOfRange},
        {L"4294967297~0||``t`", dx::KindOutOfRange}, // 1 in 32 bits
        {L"-1~0||``t`", 0, L"t"},
        {L"kind 2~0||``t`", 0, L"t"},
        // The traits.
        {L"2~||``t`", dx::TraitsNotNumber},
        {L"2~-1||``t`", 0, L"t"},
        {L"2~99999999999999999999||``t`", 0, L"t"},
        {L"2~-18446744073709551615||``t`", 0, L"t"},
        // The source of the arguments.
        {L"2~0~99999999999||``t`", dx::ArgSourceUnknown},
        {L"2~0~x||``t`", 0, L"t"},
        {L"2~0~0~u||``t`", dx::ArgSourceUnknown},
        // Plug-ins, of which there are three.
        {L"2~0~0~~0`1`2||``t`", 0, L"t"},
        {L"2~0~0~~0`||``t`", dx::PlugInIdNotNumber},
        {L"2~0~0~~4294967296||``t`", dx::PlugInIdOutOfRange},
    });
}

TEST(ResponseSpec, FillersFromTheCursor)
{
    expectReports({
        {L"2~0~2~  d`u`s`s||``%1!d! %2!u! %3 %4`", 0, L"-5 4000000000 text (null)"},
        {L"2~0~2~u`d||``%1!u! %2!d!`", 0, L"4294967291 -294967296"},
        {L"2~0~2~||``%1!u! %2 %10!d!`", 0, L"0 (null) 0"},             // no fillers at all
        {L"2~0~2~d`u`s`s`d`u`s||``%5!d! %6!u! %7`", 0, L"0 0 (null)"}, // more than arguments
        {L"2~0~2~d`d`s`s`d`d`d`d`d`d||``%10!d!`", 0, L"0"},
        {L"2~0~2~D||``t`", dx::FillerLetterUnknown},
        {L"2~0~2~d`||``t`", dx::FillerLetterUnknown},
        {L"2~0~2~d` u||``t`", dx::FillerLetterUnknown},
    });
}

TEST(ResponseSpec, FillersFromRecordedArguments)
{
    expectReports({
        {L"2~0~1~s0`d0`u0`d1||``%1 %2!d! %3!u! %4!d!`", 0, L"text -5 4000000000 6"},
        {L"2~0~1~s1`d4`u1||``%1 %2!d! %3!u!`", 0, L"(null) 0 0"},
        {L"2~0~1~d5||``t`", dx::FillerSlotOutOfRange},
        {L"2~0~1~u5||``t`", dx::FillerSlotOutOfRange},
        {L"2~0~1~d4294967296||``t`", dx::FillerSlotOutOfRange},
        {L"2~0~1~d0`||``t`", dx::FillerWithoutSlot},
        {L"2~0~1~0||``t`", dx::FillerLetterUnknown},
        {L"2~0~1~d-1||``t`", dx::FillerLetterUnknown},
    });
}

TEST(ResponseSpec, LogDescription)
{
    expectReports({
        {L"2~0||`t", dx::MessageFormatRecords},
        {L"2~0||``t", 0, L"t"}, // the suffix may be absent
        {L"2~0||``t``", dx::MessageFormatRecords},
        {L"2~0||```", 0}, // nothing to tell
        // Line widths.
        {L"2~0||-1``t`", dx::LineWidthNotNumber},
        {L"2~0||256``t`", dx::LineWidthOutOfRange},
        {L"2~0||4294967301``t`", dx::LineWidthOutOfRange},
        {L"2~0||  10``one two three four`", 0, L"one two\r\nthree\r\nfour"},
        {L"2~0||0``one\ntwo`", 0, L"one\ntwo"},
        {L"2~0||255``one\ntwo%nthree`", 0, L"one two\r\nthree"},
        // Affixes.
        {L"2~0~2~d||`0`text`1", 0, L"Pre text suf -5"},
        {L"2~0||`0``0", 0, L"Pre Pre "},
        {L"2~0||``t` 1", dx::AffixNotNumber},
        {L"2~0||`4294967296`t`", dx::AffixOutOfRange},
        {L"2~0||`3`t`", dx::AffixNotLoaded},
        {L"2~0||`4`" + run(518, L'x') + L"`", dx::SectionNotFormatted}, // 1023
        {L"2~0||`4`" + run(519, L'x') + L"`", dx::MessageTextTooLong},
        {L"2~0||`4`" + run(518, L'x') + L"`0", dx::AffixNotLoaded}, // no room left for it
    });
}

TEST(ResponseSpec, DisplayDescription)
{
    expectReports({
        {L"2~0|  |``t`", 0, L"t"},
        {L"2~0|&|``t`", 0, L"t", L"t"},
        {L"2~0| & and more|``t`", 0, L"t", L"t"},
        {L"2~0|&x|``t`", dx::DisplaySpecGroups},
        {L"2~0|~``a`~|``t`", dx::DisplaySpecGroups},
        {L"2~0|&~``a`|``t`", dx::DialogSpecFirstNotNumber},
        // Dialog specs.
        {L"2~0|~``a`|``t`", 0, L"t", L"a", 48},
        {L"2~0|17~``a`|``t`", 0, L"t", L"a", 17},
        {L"2~0|4294967290~``a`|``t`", 0, L"t", L"a", 4294967290},
        {L"2~0| `5`6~``a`|``t`", 0, L"t", L"a", 48},
        {L"2~0| 64` 5` 6~``a`|``t`", 0, L"t", L"a", 64},
        {L"2~0|1`x~``a`|``t`", dx::DialogSpecSecondNotNumber},
        {L"2~0|1``x~``a`|``t`", dx::DialogSpecThirdNotNumber},
        // Message formats.
        {L"2~0|~a|``t`", dx::MessageFormatRecords},
        {L"2~0|~256``a`|``t`", dx::LineWidthOutOfRange},
        {L"2~0|~```|``t`", 0, L"t"},
        {L"2~0|~`0`a`|``t`", 0, L"t", L"Pre a"},
        {L"2~0|~255`4`" + run(6, L'x') + L"`|``t`", 0, L"t", run(505, L'p') + run(6, L'x')},
        {L"2~0|~255`4`" + run(7, L'x') + L"`|``t`", dx::MessageTextTooLong},
        {L"2~0|~``" + run(60, L'x') + L" yyyy zzzz`|``t`", 0, L"t",
         run(60, L'x') + L" yyyy\r\nzzzz"}, // 67 columns
        // The log comes first, whatever the display's fault.
        {L"2~0|48|x``t`", dx::LineWidthNotNumber},
        {L"2~0|~``%11!u!`|``%12!u!`", dx::FormatLogFailed},
        {L"3~0|48|x``t`", dx::KindOutOfRange},
    });
}

TEST(ResponseSpec, Inserts)
{
    expectReports({
        {L"2~0||``100%% %1!u!`", 0, L"100% 0"},
        {L"2~0||``text%0 and no more %99`", 0, L"text"},
        // Beyond the fillers there is nothing to read.
        {L"2~0||``%10!u!`", 0, L"0"},
        {L"2~0||``%%%n%11!u!`", dx::FormatLogFailed},
        // A number is no text, nor is a text of another width.
        {L"2~0~2~s||``%1`", dx::FormatLogFailed},
        {L"2~0~1~s0`d0||``%1!*s!`", dx::FormatLogFailed},
        {L"2~0~1~d1`s0||``%1!*s!`", 0, L"  text"},
    });
}

TEST(ResponseSpec, MinusWrapsTraits)
{
    struct Engine : ZarnDataForThread {
        u64 traitsOf(const wchar_t* header)
        {
            m_responseSpecHeader.assign(header);
            EXPECT_TRUE(parseResponseSpecHeader(nullptr));
            return m_situationResponseTraits;
        }
    };
    Established data;
    Engine engine;
    ASSERT_TRUE(engine.initialize(&data));
    EXPECT_EQ(engine.traitsOf(L"2~-1"), ~u64{0});
    EXPECT_EQ(engine.traitsOf(L"2~traits 7"), 7U);
    EXPECT_EQ(engine.traitsOf(L"2~-18446744073709551615"), 1U);
    EXPECT_EQ(engine.traitsOf(L"2~18446744073709551615"), ~u64{0});
    EXPECT_EQ(engine.traitsOf(L"2~-18446744073709551616"), ~u64{0}); // saturates
}

TEST(ResponseSpec, AffixMeetsAFullTarget)
{
    struct Engine : ZarnDataForThread {
        using ZarnDataForThread::m_specStrictness;
        using ZarnDataForThread::parseDescriptionSpec_MessageAffix;
    };
    Established data;
    settle(data);
    for (const int strictness : {0, 6}) {
        Engine engine;
        ASSERT_TRUE(engine.initialize(&data));
        engine.m_specStrictness = strictness;
        wchar_t affix[] = L"0";
        std::wstring target(8, L'x'); // of which the first six are the target
        EXPECT_FALSE(engine.parseDescriptionSpec_MessageAffix(affix, target.data(), 6));
        EXPECT_EQ(engine.getSelfDX_Code(), strictness ? dx::AffixArguments : dx::AffixNotLoaded);
        EXPECT_EQ(target, std::wstring(6, L'\0') + L"xx");
    }
}

TEST(ResponseSpec, LongTextsAreCutOrFail)
{
    const Reporter reporter;
    const auto codeOf = [&](const wchar_t* spec, const std::wstring& text) {
        strings()[100] = spec;
        reporter->respondToSituation(100, nullptr, text.c_str());
        const int code = reporter->getSelfDX_Code();
        reporter.recover();
        return code;
    };
    EXPECT_EQ(codeOf(L"2~0~2~s|~255``%1`|``%1`", run(600, L'a')), 0);
    EXPECT_EQ(shown().text, run(511, L'a'));
    EXPECT_EQ(codeOf(L"2~0~2~s|&|``%1`", run(1023, L'b')), dx::SectionNotFormatted);
    EXPECT_EQ(shown().text, run(1023, L'b')); // fits its buffer, but no entry
    EXPECT_EQ(codeOf(L"2~0~2~s|&|``%1`", run(1024, L'c')), dx::FormatLogFailed);
    EXPECT_EQ(codeOf(L"2~0~2~s|~255``%1`|``t`", run(1024, L'c')), dx::FormatDisplayFailed);
    EXPECT_EQ(reporter.entries(), QStringList{QString(600, 'a')});
}
