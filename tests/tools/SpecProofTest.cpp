// The judgement on response specs: each mistake by its code and its place.
#include <tools/Text.h>
#include <tools/proof/SpecProof.h>

#include <gtest/gtest.h>

#include <zmu/monitor/DxCodes.h>

#include "Traces.h"

using namespace zmu_tools;
using Field = zmu::FailurePlace::Field;
namespace dx = zmu::dx;

namespace {

constexpr int NoCode = 0;

/// "position field code", of each finding one line.
std::string brief(const std::vector<SpecFinding>& findings)
{
    std::string text;
    for (const SpecFinding& finding : findings)
        text += std::to_string(finding.position) + ' ' + fieldName(finding.field) + ' ' +
                std::to_string(finding.code) + (finding.isWarning ? " warning\n" : "\n");
    return text;
}

SpecRules twoPlugIns()
{
    SpecRules rules;
    rules.plugInCount = 2;
    rules.textLength = 100;
    return rules;
}

const std::vector<std::wstring> affixes = {L"note: ", L" (%9!u!)", L""};

} // namespace

TEST(SpecProof, NamesEachMistakeWithItsPlace)
{
    const struct {
        std::wstring spec; // with a ^ where the caret belongs
        Field field;
        int code;
    } rows[] = {
        {L"2~0||``Hello.`^|", Field::Unknown, dx::SpecFields},
        {L"^", Field::Unknown, dx::SpecFields},
        {L"Hello.^", Field::Unknown, dx::SpecFields},
        {L"^||``Hello.`", Field::Header, dx::HeaderFieldUnusable},
        {L"2~0||^", Field::Log, dx::LogFieldUnusable},
        {L"2^||``Hello.`", Field::Header, dx::HeaderGroups},
        {L"2~0~0~~^~||``Hello.`", Field::Header, dx::HeaderGroups},
        {L"^x~0||``Hello.`", Field::Header, dx::KindNotNumber},
        {L"^3~0||``Hello.`", Field::Header, dx::KindOutOfRange},
        {L"2~^level||``Hello.`", Field::Header, dx::TraitsNotNumber},
        {L"2~0~^3~u||``%1!u!`", Field::Header, dx::ArgSourceUnknown},
        {L"2~0~0~^u||``%1!u!`", Field::Header, dx::ArgSourceUnknown},
        {L"2~0~2~u`s`^x||``%1!u!`", Field::Header, dx::FillerLetterUnknown},
        {L"2~0~1~u0`^s||``%1!u!`", Field::Header, dx::FillerWithoutSlot},
        {L"2~0~1~^u10||``%1!u!`", Field::Header, dx::FillerSlotOutOfRange},
        {L"2~0~2~u`u`u`u`u`u`u`u`u`u`u`u`u`u`u`u`u`u`u`u^`u||``%1!u!`", Field::Header,
         dx::FillersTooMany},
        {L"2~0~~~^x||``Hello.`", Field::Header, dx::PlugInIdNotNumber},
        {L"2~0~~~1`^2||``Hello.`", Field::Header, dx::PlugInIdOutOfRange},
        {L"2~0~~~1`^1||``Hello.`", Field::Header, dx::PlugInIdRepeated},
        {L"2~0~~~1`0^`0||``Hello.`", Field::Header, dx::PlugInIdsTooMany},
        {L"2~0||``Hello.`^~", Field::Log, dx::LogSpecGroups},
        {L"2~0||`Hello.^", Field::Log, dx::MessageFormatRecords},
        {L"2~0||``He`^``llo.`", Field::Log, dx::MessageFormatRecords},
        {L"2~0||^x``Hello.`", Field::Log, dx::LineWidthNotNumber},
        {L"2~0||^256``Hello.`", Field::Log, dx::LineWidthOutOfRange},
        {L"2~0||`^note`Hello.`", Field::Log, dx::AffixNotNumber},
        {L"2~0||``Hello.`^3", Field::Log, dx::AffixOutOfRange},
        {L"2~0||``Hello.`^2", Field::Log, dx::AffixNotLoaded},
        {L"2~0|Hello.^|``Hello.`", Field::Display, dx::DisplaySpecGroups},
        {L"2~0|64~``Hello.`^~|``Hello.`", Field::Display, dx::DisplaySpecGroups},
        {L"2~0|^style~``Hello.`|``Hello.`", Field::Display, dx::DialogSpecFirstNotNumber},
        {L"2~0|64`^x~``Hello.`|``Hello.`", Field::Display, dx::DialogSpecSecondNotNumber},
        {L"2~0|1`2`3^`4~``Hello.`|``Hello.`", Field::Display, dx::DialogSpecRecords},
        {L"2~0|64~^300``Hello.`|``Hello.`", Field::Display, dx::LineWidthOutOfRange},
        {L"2~0~2~u||``User ^%1!s!.`", Field::Log, dx::FormatLogFailed},
        {L"2~0~2~s|64~``User ^%1!s.`|``User %1.`", Field::Display, dx::FormatDisplayFailed},
        {L"2~0||``A 100 ^%`", Field::Log, dx::FormatLogFailed},
        {L"2~0~2~u||``%1!u! ^%21!u!`", Field::Log, dx::FormatLogFailed},
        {L"2~0~1~s0||``User ^%1!hs!.`", Field::Log, dx::FormatLogFailed},
        // What the library takes, and shows as something else.
        {L"2~0~2~u||``%1!u! of ^%2!u!`", Field::Log, NoCode},
        {L"2~0||``User ^%1.`", Field::Log, NoCode},
        {L"2~0||``Session`^1", Field::Log, NoCode},
        {L"2~0~2~s||``%%1 is ^%1!u!.`", Field::Log, NoCode},
        {L"2~0~2~s|64~``^%1!hs!`|``%1!s!`", Field::Display, NoCode},
    };
    for (const auto& row : rows) {
        std::wstring spec = row.spec;
        const std::size_t position = spec.find(L'^');
        spec.erase(position, 1);
        const std::string wanted = std::to_string(position) + ' ' + fieldName(row.field) + ' ' +
                                   std::to_string(row.code) + '\n';
        EXPECT_EQ(brief(proveSpec(spec, affixes, twoPlugIns())), wanted) << narrowed(spec);
    }
}

TEST(SpecProof, TakesWhatTheLibraryTakes)
{
    zmu_test::Traces traces;
    for (const wchar_t* const spec : {
             L"2~0||``Hello.`",
             L"2~0|&|`0`Hello.`",
             L"2~536870912~2~u`s~0`1|48~255``Session %1!u! of %2!s! failed.`|`0`%1!08X! <i>%2</i>`",
             L"1~-1~1~u9`s0`d3|64`1`2~``%1!5u! %2!.20s! 100%% %3!d!%n`|``%3!i!`",
             L"2~0~2~s||``%1!hs!, and again %1!S!, `1",
         })
        EXPECT_EQ(brief(proveSpec(spec, {L"note: ", L"%% "}, twoPlugIns())), "") << narrowed(spec);
    EXPECT_EQ(traces.take(), "");
}

TEST(SpecProof, FillsArgumentsToTellWhatOnlyShowsThen)
{
    const auto only = [](const wchar_t* spec, std::size_t textLength) {
        SpecRules rules;
        rules.textLength = textLength;
        const std::vector<SpecFinding> findings = proveSpec(spec, {}, rules);
        return findings.size() == 1 ? findings[0] : SpecFinding();
    };
    SpecFinding finding = only(L"2~0~2~s||``%1!s!`", 10);
    EXPECT_EQ(finding.code, dx::FormatLogFailed);
    EXPECT_EQ(finding.filling, Filling::Emptiest);

    const wchar_t* const twoTexts = L"2~0~2~s`s`d||``%1, %2: %3!d!`"; // 15 beside the texts
    EXPECT_EQ(only(twoTexts, 504).code, NoCode);
    finding = only(twoTexts, 505);
    EXPECT_EQ(finding.code, dx::FormatLogFailed);
    EXPECT_EQ(finding.filling, Filling::Longest);
    EXPECT_EQ(finding.textLengthMax, 504U);
    EXPECT_NE(described(finding).find("can have 1025 characters"), std::string::npos)
        << described(finding);

    const wchar_t* const shown = L"2~0~2~s|64~255``of %1!s!`|``text`"; // 3 beside the text
    EXPECT_EQ(only(shown, 508).code, NoCode);
    EXPECT_TRUE(only(shown, 509).isWarning);
    EXPECT_EQ(only(shown, 509).textLengthMax, 508U);
    EXPECT_EQ(only(shown, 1021).code, dx::FormatDisplayFailed);

    SpecRules rules;
    rules.textLengths = {900, 5};
    EXPECT_EQ(brief(proveSpec(twoTexts, {}, rules)), "");
    rules.logRoom = 700;
    EXPECT_EQ(brief(proveSpec(twoTexts, {}, rules)), "15 log 178\n");
    EXPECT_EQ(brief(proveSpec(L"2~0~2~u||``%1!2000u!`", {}, rules)), "11 log 53\n");
    EXPECT_EQ(brief(proveSpec(L"2~0||``50 % of it`", {}, rules)), "10 log 0 warning\n");
    EXPECT_EQ(brief(proveSpec(L"2~0||``50 %of it`", {}, rules)), "10 log 0 warning\n");
}

TEST(SpecProof, PointsIntoLongAndHostileTexts)
{
    const std::wstring spec = L"2~0||``\x1b[2J" + std::wstring(1100, L'a');
    const std::vector<SpecFinding> findings = proveSpec(spec, {}, {});
    ASSERT_EQ(brief(findings), "1023 spec 256\n");
    EXPECT_EQ(pointedAt(spec, 1023),
              "    ..." + std::string(90, 'a') + "...\n    " + std::string(63, ' ') + "^\n");
    EXPECT_EQ(pointedAt(L"a\x1b[2Jb", 5), "    a\\x1b[2Jb\n            ^\n");
    EXPECT_EQ(pointedAt(L"a\tb", 2), "    a\tb\n     \t^\n");
    EXPECT_EQ(pointedAt(L"\u65e5e\u0301b", 3), "    \u65e5e\u0301b\n       ^\n");
    for (const std::wstring& hostile :
         {std::wstring(5000, L'|'), std::wstring(1023, L'~'), std::wstring(1000, L'`'),
          L"2~0||``" + std::wstring(900, L'%') + L"`", std::wstring(L"2~0~2~s||``%1!*.*s!`"),
          std::wstring(L"2~0~2~u||``%1!999999999u!`"), std::wstring(L"\xd800|~|\xfffe`")})
        brief(proveSpec(hostile, affixes, twoPlugIns()));
}
