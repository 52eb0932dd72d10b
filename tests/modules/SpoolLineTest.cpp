// The line of a spool file, written and read.
#include <spool/SpoolWriter.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace zmu_spool;

namespace {

const std::string sound =
    R"({"sequence":17,"time":"2026-11-22T06:32:27.123456789Z","host":"h7","program":"pw",)"
    R"("process":812,"start":"1999-12-31T23:59:59Z","thread":815,"instantiator":-4711,)"
    R"("enablements":2,"situation":1001,"description":"Session 7."})";

/// `sound` with `part`, which it has once, replaced.
std::string with(const std::string& part, const std::string& other)
{
    std::string text = sound;
    return text.replace(text.find(part), part.size(), other);
}

std::string faultOf(const std::string& text)
{
    SpoolLine line;
    return describe(readSpoolLine(text, line));
}

} // namespace

TEST(SpoolLine, IsReadInAnyOrderAndSpacing)
{
    SpoolLine line;
    line.description = "of another line";
    ASSERT_FALSE(readSpoolLine(sound, line)) << faultOf(sound);
    EXPECT_EQ(line.sequence, 17);
    EXPECT_EQ(line.time, 1795329147123456789);
    EXPECT_EQ(line.start, 946684799000000000);
    EXPECT_EQ(line.host + ' ' + line.program, "h7 pw");
    EXPECT_EQ(line.process, 812);
    EXPECT_EQ(line.thread, 815);
    EXPECT_EQ(line.instantiator, -4711);
    EXPECT_EQ(line.enablements, 2);
    EXPECT_EQ(line.situation, 1001);
    EXPECT_EQ(line.description, "Session 7.");

    const std::string moved =
        R"({"situation" : 1001 ,)" + with(R"("situation":1001,)", "").substr(1);
    for (const std::string& text :
         {with(":17,", " :\t17 , "), "  " + sound + " \r",
          with("{", "{\"new\":[{\"a\":[1,\"]\"]},null],"), moved, with("27.123456789Z", "27.1Z"),
          with("Session 7.", "\\u0053ession\\u00207\\/\\ud83d\\ude00")})
        EXPECT_EQ(faultOf(text), "") << text;
    ASSERT_FALSE(
        readSpoolLine(with("Session 7.", R"(\ud83d\u0041 \ud83d\ude00\udc00\u0000\n)"), line));
    EXPECT_EQ(line.description, "\uFFFDA 😀\uFFFD\uFFFD\n");
}

TEST(SpoolLine, TellsWhatIsWrong)
{
    struct Row {
        std::string text;
        const char* fault;
    };
    const std::vector<Row> rows = {
        {"", "byte 0: it ends too soon"},
        {"not json", "byte 0: it is no JSON object"},
        {"{}", "byte 2: a field is missing, field \"sequence\""},
        {with(R"("thread":815,)", ""), ": a field is missing, field \"thread\""},
        {with(R"("thread":815,)", R"("thread":815,"thread":815,)"),
         ": a field is there twice, field \"thread\""},
        {sound + "{", ": something stands behind the object"},
        {with("17", "0"), "byte 13: the number is 0, field \"sequence\""},
        {with("17", "017"), ": the number begins with a zero"},
        {with("17", "1.5"), ": the number is no whole one"},
        {with("17", "18446744073709551616"), ": the number is out of range"},
        {with(":2,", ":4294967296,"), ": the number is out of range, field \"enablements\""},
        {with("17", "-1"), ": the value is no whole number"},
        {with("17", "\"17\""), ": the value is no whole number"},
        {with("11-22", "02-30"), ": the value is no moment"},
        {with("2026-", "1500-"), ": the value is no moment"},
        {with("27.123456789Z", "27.1234567890Z"), ": the value is no moment"},
        {with("06:32", "24:32"), ": the value is no moment"},
        {with("h7", std::string(600, 'h')), ": a name is too long, field \"host\""},
        {with("Session", "\n"), ": a control character stands in a text"},
        {with("Session", "\xC0\xAF"), ": a text is no UTF-8"},
        {with("Session", "\xED\xA0\x80"), ": a text is no UTF-8"},
        {with("Session", "\\x41"), ": an escape is none of JSON's"},
        {with("Session", "\\u00g0"), ": an escape is none of JSON's"},
        {with("{", "{\"deep\":" + std::string(17, '[') + std::string(17, ']') + ","),
         ": a value is nested too deeply"},
        {with("{", "{\"odd\":[},"), ": the value is none of JSON's"},
        {std::string(longestLine, ' '), "byte 16777216: it is longer than 16 MiB"},
    };
    for (const Row& row : rows) {
        const std::string fault = faultOf(row.text);
        EXPECT_NE(fault.find(row.fault), fault.npos) << row.text.substr(0, 400) << '\n' << fault;
    }
}

TEST(SpoolLine, IsTornAtEachPlace)
{
    const std::string text = with("Session", "\\ud83d\\ude00 ä \\n");
    for (std::size_t size = 0; size < text.size(); ++size) {
        const std::string fault = faultOf(text.substr(0, size));
        EXPECT_NE(fault.find("it ends too soon"), fault.npos) << size << ": " << fault;
    }
}

TEST(SpoolLine, IsReadAsItWasWritten)
{
    constexpr zmu::i64 firstTime = -9214560000000000000; // 1678
    Origin origin;
    std::fill_n(origin.host, longestName, L'\x1F');
    std::fill_n(origin.program, longestName, L'\x20AC');
    origin.process = ~zmu::u64(0);
    origin.start = firstTime;
    std::wstring text;
    for (wchar_t c = 1; c < 0x3000; ++c)
        text += c;
    for (const Situation& situation :
         {Situation{firstTime, 0, INT64_MIN, 0, INT64_MIN},
          Situation{9214646399999999999, ~zmu::u64(0), INT64_MAX, ~0U, INT64_MAX}}) {
        std::vector<char> bytes(bytesForLine(text.size()));
        char* const begin = bytes.data() + frontQty;
        std::vector<char> originText(originQty);
        const std::string_view common(originText.data(),
                                      putOrigin(originText.data(), origin) - originText.data());
        char* end = putSituation(begin, common, situation);
        const std::ptrdiff_t before = end - begin;
        end = putDescription(end, text.data(), text.size());
        EXPECT_EQ(end - begin - before, escapedSize(text.data(), text.size()) + 19);
        const char* const front = putFront(begin, ~zmu::u64(0));
        ASSERT_GE(front, bytes.data());
        ASSERT_LE(end, bytes.data() + bytes.size());

        SpoolLine line;
        const LineFault fault = readSpoolLine({front, end - 1}, line);
        ASSERT_FALSE(fault) << describe(fault);
        EXPECT_EQ(line.sequence, ~zmu::u64(0));
        EXPECT_EQ(line.time, situation.time);
        EXPECT_EQ(line.start, firstTime);
        EXPECT_EQ(line.host, std::string(longestName, '\x1F'));
        EXPECT_EQ(line.program.size(), 3 * longestName);
        EXPECT_EQ(line.thread, situation.thread);
        EXPECT_EQ(line.instantiator, situation.instantiator);
        EXPECT_EQ(line.enablements, situation.enablements);
        EXPECT_EQ(line.situation, situation.id);
        EXPECT_EQ(line.description.size(), 0x7F + 2 * (0x800 - 0x80) + 3 * (0x3000 - 0x800));
    }
    char name[fileNameQty];
    origin.host[1] = L'\0';
    composeFileName(name, {L".a_b/c", L"p.exe", 12, -5}, 34);
    EXPECT_STREQ(name, "-a-b-c_p.exe_12_-5_000034.spool");
    EXPECT_TRUE(isSpoolName(name));
}
