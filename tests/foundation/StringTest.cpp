// What a string holds: representations, assignment, and where its text comes from.
#include "Fault.h"

#include <System.h>

#include <zmu/foundation/UTL_String.h>
#include <zmu/localize/ResourceModule.h>

#include <QByteArray>

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

namespace {

/// A string whose inside can be seen.
struct Probe : UTL_String {
    using UTL_String::UTL_String;
    Probe(const UTL_String& text) : UTL_String(text) {}

    bool isNarrow() const { return m_encoding == static_cast<u64>(StringEncoding::Narrow); }
};

/// The fault of a construction.
template <class... Arguments>
unsigned faultWith(Arguments... arguments)
{
    return Fault::of([&] { UTL_String text(arguments...); });
}

constexpr bool isUtf8Narrow = sizeof(wchar_t) > 2;

enum : unsigned { Plain = 1, Empty, Unterminated, TooLong, Negative, Missing };

} // namespace

/// The program's own strings, some by a careless entry.
ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    SetLastError(id == Missing || id == Negative ? 2 : 0);
    switch (id) {
    case Plain:
        wcsncpy(buffer, L"plain", static_cast<std::size_t>(bufferMax));
        return 5;
    case Unterminated:
    case TooLong:
        wmemset(buffer, L'x', static_cast<std::size_t>(bufferMax));
        return id == TooLong ? INT_MAX : bufferMax;
    case Negative:
        return -7;
    default:
        return 0;
    }
}

TEST(String, EmptyTextsAreValidInBothWidths)
{
    const char* noText = nullptr;
    const wchar_t* noWideText = nullptr;
    UTL_String emptied(L"text");
    emptied = UTL_String(L"");
    const UTL_String texts[] = {UTL_String(), noText, noWideText, "", L"", emptied};
    for (const UTL_String& text : texts) {
        EXPECT_EQ(text.length(), 0U);
        EXPECT_STREQ(text.wideText(), L"");
        EXPECT_STREQ(text.narrowText(), "");
        EXPECT_TRUE(text == texts[0]);
    }
    EXPECT_TRUE(Probe(emptied).isNarrow());
    EXPECT_EQ(UTL_String(INT_MIN).toInt(), INT_MIN);
}

TEST(String, TextIsConvertedAsUtf8)
{
    if (!isUtf8Narrow)
        GTEST_SKIP() << "the narrow code page is the system's";
    const struct {
        const char* narrow;
        std::vector<unsigned> wide;
    } cases[] = {
        {"A\x7F", {'A', 0x7F}},
        {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", {0x80, 0x7FF, 0x800, 0xFFFF}},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", {0x10000, 0x10FFFF}},
        {"\xFF\xC1\x81", {0xFFFD, 0xFFFD, 0xFFFD}},             // overlong
        {"\xE0\x9F\xBF", {0xFFFD, 0xFFFD, 0xFFFD}},             // overlong
        {"\xED\xA0\x80", {0xFFFD, 0xFFFD, 0xFFFD}},             // a surrogate
        {"\xF4\x90\x80\x80", {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}}, // above the last code point
        {"\xE2\x82", {0xFFFD}},                                 // ends too early
        {"\xF0\x9F\x98z\xC3z", {0xFFFD, 'z', 0xFFFD, 'z'}}      // breaks off
    };
    for (const auto& [narrow, wide] : cases) {
        const UTL_String text(narrow);
        const std::wstring expected(wide.begin(), wide.end());
        EXPECT_EQ(text.wideText(), expected) << narrow;
        EXPECT_EQ(text.convertedLength(StringEncoding::Wide), expected.size()) << narrow;
    }
    const UTL_String good(L"\x7F\u0080\u07FF\u0800\xFFFF\U00010000\U0010FFFF");
    EXPECT_STREQ(good.narrowText(), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"
                                    "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    EXPECT_STREQ(UTL_String(good.narrowText()).wideText(), good.wideText());
    const wchar_t bad[] = {wchar_t(0xD800), wchar_t(0xDFFF), wchar_t(0x110000), wchar_t(-1), 0};
    EXPECT_STREQ(UTL_String(bad).narrowText(), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(String, AssignmentFollowsTheSourceAndKeepsARoomyBuffer)
{
    Probe text(L"a longer text");
    const wchar_t* before = text.wideText();
    text = Probe(L"short");
    EXPECT_EQ(text.wideText(), before);
    EXPECT_STREQ(text.wideText(), L"short");
    text = Probe(L"lo/g/r");
    EXPECT_STREQ(text.wideText(), L"lo/g/r");
    // The other representation is made anew, whatever is left of an earlier one.
    EXPECT_STREQ(text.narrowText(), "lo/g/r");
    text.useBackslashes();
    EXPECT_STREQ(text.narrowText(), "lo\\g\\r");

    for (UTL_String self : {UTL_String("self"), UTL_String(L"self")}) {
        const UTL_String& same = self;
        self = same;
        self += same;
        self = self.narrowText();
        self = self.wideText();
        EXPECT_STREQ(self.narrowText(), "selfself");
    }
}

TEST(String, ConcatenationKeepsTheLeftEncoding)
{
    const struct {
        UTL_String left, right;
        bool isNarrow;
    } cases[] = {{"na", L"rrow", true},  {L"na", "rrow", false}, {"", L"narrow", true},
                 {L"", "narrow", false}, {L"narrow", "", false}, {UTL_String(), L"narrow", true}};
    for (const auto& [left, right, isNarrow] : cases) {
        Probe sum(left);
        sum += right;
        EXPECT_EQ(sum.isNarrow(), isNarrow);
        EXPECT_STREQ(sum.wideText(), L"narrow");
        EXPECT_EQ(sum.length(), 6U);
    }
    EXPECT_TRUE(!isUtf8Narrow || (UTL_String("\xC3\xA9") + UTL_String(L"\u20AC")).length() == 5);
}

TEST(String, FormattedTextFitsOrFails)
{
    EXPECT_STREQ(UTL_String(4, "%d", 123).narrowText(), "123");
    EXPECT_STREQ(UTL_String(6, L"%ls-%d", L"ab", 12).wideText(), L"ab-12");
    EXPECT_EQ(UTL_String(std::size_t(1), L"").length(), 0U);
    EXPECT_EQ(faultWith(3, "%d", 123), zmu::BadArguments);
    EXPECT_EQ(faultWith(3, L"%d", 123), zmu::BadArguments);
    EXPECT_EQ(faultWith(0, ""), zmu::BadArguments);
    EXPECT_EQ(faultWith(8, static_cast<const wchar_t*>(nullptr)), zmu::BadArguments);
    EXPECT_EQ(faultWith(SIZE_MAX, ""), zmu::OutOfMemory);
    EXPECT_EQ(faultWith(SIZE_MAX / sizeof(wchar_t) + 2, L""), zmu::OutOfMemory);
}

TEST(String, ModuleEntriesAreNotTrusted)
{
    const HMODULE program = GetModuleHandleW(nullptr);
    const struct {
        unsigned id, capacity;
        const wchar_t* text;
        ulong32 lastError;
    } cases[] = {{Plain, 6, L"plain", 0},      {Plain, 5, L"plai", 0},  {Plain, 1, L"", 0},
                 {Unterminated, 4, L"xxx", 0}, {TooLong, 4, L"xxx", 0}, {Empty, 8, L"", 0},
                 {Negative, 8, L"", 2},        {Missing, 8, L"", 2}};
    for (const auto& [id, capacity, text, lastError] : cases) {
        UTL_String loaded("before");
        EXPECT_EQ(loaded.loadFromModule(program, id, capacity), int(wcslen(text))) << id;
        EXPECT_EQ(GetLastError(), lastError) << id;
        EXPECT_STREQ(loaded.wideText(), text) << id;
        EXPECT_EQ(faultWith(program, id, capacity), lastError ? zmu::ResourceNotLoaded : 0U) << id;
    }
    UTL_String kept("kept");
    EXPECT_EQ(Fault::of([&] { kept.loadFromModule(nullptr, 1, 8); }), zmu::BadArguments);
    EXPECT_EQ(Fault::of([&] { kept.loadFromModule(program, 1, 0); }), zmu::BadArguments);
    EXPECT_STREQ(kept.narrowText(), "kept");
    const HMODULE plain = GetModuleHandleW(zmu_test::isWindows() ? L"kernel32.dll" : L"c.dll");
    EXPECT_EQ(kept.loadFromModule(plain, Plain, 8), 0);
    EXPECT_EQ(GetLastError(), 2U);
}

TEST(String, EnvironmentAndPaths)
{
    qputenv("ZMU_TEST", "value");
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"<%ZMU_TEST%%ZMU_TEST%>", "<valuevalue>"},
        {"5% of %ZMU_TEST%", "5% of %ZMU_TEST%"},
        {"5%% of %ZMU_TEST%", "5%% of value"},
        {"%% %ZMU_NONE% %ZMU_TEST", "%% %ZMU_NONE% %ZMU_TEST"}};
    for (const auto& [text, expanded] : cases) {
        EXPECT_STREQ(UTL_String(text).expandEnvironment(), expanded);
        const UTL_String wide(UTL_String(text).wideText());
        EXPECT_STREQ(wide.expandEnvironment().narrowText(), expanded);
    }
    for (const UTL_String& path : {UTL_String("."), UTL_String(L".")})
        EXPECT_TRUE(path.shortPath() == path);
    for (const UTL_String& path : {UTL_String("no/such/path"), UTL_String(L"no/such/path")})
        EXPECT_EQ(Fault::of([&] { path.shortPath(); }), zmu::SystemCallFailed);
    EXPECT_EQ(UTL_String().shortPath().length(), 0U);
}
