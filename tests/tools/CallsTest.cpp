// Calls that a catalogue compiles to: what they take, what the log and the display show of it.
#include "calls.h"

#include "../notify/Allocations.h"
#include "Files.h"
#include "Monitors.h"
#include "Processes.h"
#include "Traces.h"

#include <zmu/foundation/internal/Markup.h>
#include <zmu/foundation/internal/Utf8.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

using namespace zmu_test;

namespace {

int s_counted = 0;

bool count(const Zarn* monitor)
{
    s_counted = monitor->getSituationID() * 1000 + int(monitor->getArg_UInt(0));
    return true;
}

/// A monitor for the situations of calls.toml, with its log.
class Calls {
  public:
    explicit Calls(std::string_view language = "en")
    {
        ZarnData settings;
        makeReady(settings, m_log);
        EXPECT_TRUE(calls::setUp(settings, calls::load(language), {.count = count}));
        m_monitor = Zarn::create(&settings);
    }
    ~Calls() { Zarn::destroy(&m_monitor, 0, false); }
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;

    operator Zarn*() const { return m_monitor; }
    Zarn* operator->() const { return m_monitor; }
    /// The description of the last entry.
    QString entry() const
    {
        const QString text = withoutTimes(logText(m_log));
        const qsizetype begin = text.lastIndexOf("<time>");
        return text.mid(begin + 7, text.indexOf("<br", begin) - begin - 7);
    }

  private:
    Folder m_folder;
    std::wstring m_log = m_folder.path("log.html");
    Zarn* m_monitor = nullptr;
};

/// Whether `Call` takes these arguments behind the monitor. What is no constant is meant.
template <auto Call, class... Args>
constexpr bool takes = std::is_invocable_v<decltype(Call), Zarn*, Args...>;

enum Plain { PlainOne = 1 };
enum class Wide : long long { Big = 1LL << 40 };
enum class Signed { One = 1 };

} // namespace

// A wrong number, order or kind of arguments does not compile. (Numbers that do not fit have a test
// of their own.)
static_assert(takes<calls::texts, std::string, zmu::catalog::Html>);
static_assert(takes<calls::texts, const wchar_t*, zmu::catalog::Html>);
static_assert(takes<calls::texts, std::filesystem::path, zmu::catalog::Html>);
static_assert(takes<calls::texts, std::u8string_view, zmu::catalog::Html>);
static_assert(!takes<calls::texts, std::string>);
static_assert(!takes<calls::texts, std::string, zmu::catalog::Html, int>);
static_assert(!takes<calls::texts, zmu::catalog::Html, std::string>);
static_assert(!takes<calls::texts, std::string, std::string>);
static_assert(!takes<calls::texts, int, zmu::catalog::Html>);
static_assert(!takes<calls::texts, std::nullptr_t, zmu::catalog::Html>);
static_assert(!takes<calls::shortText, zmu::catalog::Html>);
static_assert(takes<calls::numbers, unsigned char, short, std::size_t, Wide, float>);
static_assert(takes<calls::numbers, Plain, Plain, unsigned, int, double>);
static_assert(takes<calls::numbers, Plain, Signed, unsigned, Signed, double>);
static_assert(!takes<calls::numbers, Signed, int, unsigned, int, double>);
static_assert(!takes<calls::numbers, unsigned, int, Signed, int, double>);
static_assert(!takes<calls::numbers, double, int, unsigned, int, double>);
static_assert(!takes<calls::numbers, Wide, int, unsigned, int, double>);
static_assert(!takes<calls::numbers, bool, int, unsigned, int, double>);
static_assert(!takes<calls::numbers, wchar_t, int, unsigned, int, double>);
static_assert(!takes<calls::numbers, const char*, int, unsigned, int, double>);
static_assert(!takes<calls::numbers, unsigned, int, unsigned, int, int>);
static_assert(noexcept(calls::nothing(nullptr)));

TEST(Calls, NumbersOfEveryKindAreShownInTheirFormats)
{
    const Calls monitor;
    EXPECT_EQ(calls::numbers(monitor, 3000000000U, -7, 18446744073709551615U, -9, 0.1), 0);
    EXPECT_EQ(monitor.entry(),
              "3000000000 b2d05e00 -7    -7 18446744073709551615 FFFFFFFFFFFFFFFF -9 "
              "1777777777777777777767 0.1 0.10 0001.000e-01");
    EXPECT_EQ(calls::numbers(monitor, PlainOne, std::numeric_limits<int>::min(), 171,
                             std::numeric_limits<std::int64_t>::min(), -1e300),
              0);
    EXPECT_EQ(monitor.entry(), "1 00000001 -2147483648 -2147483648 171 00000000000000AB "
                               "-9223372036854775808 1000000000000000000000 -1e+300 -1.00e+300 "
                               "-01.000e+300");
    EXPECT_EQ(calls::numbers(monitor, 0U, 0, 0U, 0, -std::numeric_limits<double>::infinity()), 0);
    EXPECT_TRUE(monitor.entry().endsWith(" -inf -inf         -inf"))
        << monitor.entry().toStdString();
}

TEST(Calls, TextIsEscapedForTheLogAndShownAsItIs)
{
    const zmu::catalog::Html link("<a href=\"x\">y</a>");
    const Calls monitor;
    EXPECT_EQ(calls::texts(monitor, "<b>\"it's\" %1 & \xc3\xa9\x01|", link), 0);
    EXPECT_EQ(monitor.entry(),
              QString::fromUtf8("<b>&lt;b&gt;&quot;it&#39;s&quot; %1 &amp; \xc3\xa9 |"
                                " <a href=\"x\">y</a>"));
    EXPECT_EQ(shown().text, L"[<b>\"it's\" %1 & \u00e9\u0001| 100 %");
    EXPECT_EQ(shown().type, 64U);
    // Wherever the text comes from, and what is no text becomes U+FFFD.
    const std::pair<zmu::catalog::Text, std::wstring> texts[] = {
        {std::wstring_view(L"\u20ac\U0001f600"), L"\u20ac\U0001f600"},
        {std::string_view("\xe2\x82\xac\xf0\x9f\x98\x80"), L"\u20ac\U0001f600"},
        {std::u8string_view(u8"\u20ac"), L"\u20ac"},
        {static_cast<const char*>(nullptr), L"(null)"},
        {std::string_view("a\0b", 3), L"a b"},
        {std::string_view("\xff"
                          "a\xc3"),
         L"\ufffd"
         L"a\ufffd"},
        {std::wstring_view(L"\xd800"
                           L"a"),
         L"\ufffd"
         L"a"},
        {"", L""},
    };
    for (const auto& [text, wanted] : texts) {
        EXPECT_EQ(calls::texts(monitor, text, link), 0);
        EXPECT_EQ(shown().text, L"[" + wanted + L" 100 %");
    }
    EXPECT_EQ(calls::texts(monitor, std::filesystem::path(u8"/tmp/\u20ac"), link), 0);
    EXPECT_EQ(shown().text, L"[/tmp/\u20ac 100 %");
}

TEST(Calls, LongTextsAreCutAtACharacter)
{
    const Calls monitor;
    const struct {
        const char* text;
        const char* log;
        const wchar_t* display;
    } cases[] = {
        {"12345", "12345", L"12345"},
        {"123456", "1234\u2026", L"1234\u2026"},
        {"1&2", "1\u2026", L"1&2"}, // five for the character, and none left for the rest
        {"&", "&amp;", L"&"},
        {"\"", "\u2026", L"\""},
        {"1234\xf0\x9f\x98\x80"
         "6",
         "1234\u2026", L"1234\u2026"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(calls::shortText(monitor, each.text), 0);
        EXPECT_EQ(monitor.entry(), QString::fromUtf8(each.log) + "!");
        EXPECT_EQ(shown().text, std::wstring(each.display) + L"!");
    }
    // Whatever comes, the entry is written and the display's text is whole.
    const std::string path(100000, '&');
    EXPECT_EQ(calls::twoPaths(monitor, path, path), 0);
    EXPECT_TRUE(monitor.entry().endsWith(QString::fromUtf8("&amp;\u2026")));
    EXPECT_GT(monitor.entry().size(), 700);
    EXPECT_TRUE(shown().text.ends_with(L"&\u2026")) << shown().text;
    EXPECT_LE(shown().text.size(), 511U);
}

TEST(Calls, NothingIsAllocated)
{
    const zmu::catalog::Html link("<hr>");
    const std::string text(256, '&');
    const Calls monitor;
    for (const bool fails : {false, true}) { // the first situation has its engine made
        if (fails)
            failAllocation(0, true);
        const int codes[] = {calls::texts(monitor, text, link),
                             calls::numbers(monitor, 1U, 2, 3U, 4, 0.5),
                             calls::recorded(monitor, 1U, 2, 3U, text, link)};
        EXPECT_FALSE(endFailing() && fails);
        for (const int code : codes)
            EXPECT_EQ(code, 0);
    }
    if (!canFailAllocations)
        GTEST_SKIP() << cannotFail;
}

TEST(Calls, WhatIsTakenApartTwiceIsTakenApartAlike)
{
    // UTF-8 by the library's own table, and what means something to HTML.
    std::string bytes;
    for (int first = 0x20; first < 0x100; ++first)
        for (const char* const more : {"", "x", "\x80", "\xbf\xbf", "\x8f\x80\x80", "\x9f\xbf",
                                       "\xa0\x80", "\x90\x80\x80", "\xbf\x80\x80\x80"})
            bytes += char(first) + std::string(more);
    zmu::catalog::TextView taken(bytes);
    const char* source = bytes.data();
    const char* const end = source + bytes.size();
    std::u32string ours, librarys;
    for (char32_t character = 0; taken.take(character);)
        ours += character;
    while (source != end)
        librarys += zmu::takeUtf8(source, end);
    EXPECT_EQ(ours, librarys);
    for (wchar_t c = L' '; c < 0x7f; ++c) {
        const std::wstring_view entity = zmu::entityOf(c);
        const std::wstring one(1, c);
        EXPECT_EQ(zmu::catalog::Escaped<8>(zmu::catalog::Text(one)).c_str(),
                  entity.empty() ? one : std::wstring(entity));
    }
}

TEST(Calls, RecordedArgumentsAreTakenAsTheyBecomeKnown)
{
    const Calls monitor;
    {
        std::string name = "<Ada>";
        calls::Recorded recorder(monitor);
        recorder.name(name).u(7).i(-1);
        name = "gone";
        EXPECT_TRUE(monitor->isSituationNormal());
        EXPECT_EQ(recorder.w(1ULL << 40).link(zmu::catalog::Html("<hr>")).report(), 0);
    }
    EXPECT_EQ(monitor.entry(), "<hr> &lt;Ada&gt; 1099511627776 -1 7");
    EXPECT_EQ(shown().text, L"<hr> &lt;Ada&gt; 1099511627776 -1 7");
    EXPECT_EQ(s_counted, 105007);
    EXPECT_EQ(calls::recorded(monitor, 8, 2, 3, "x", zmu::catalog::Html("y")), 0);
    EXPECT_EQ(monitor.entry(), "y x 3 2 8");
    EXPECT_EQ(calls::Recorded(monitor).u(1).report(), 0); // what is missing is nothing
    EXPECT_EQ(monitor.entry(), "   0 1");
    EXPECT_EQ(calls::displayed(monitor, "x"), 0);
    EXPECT_EQ(shown().text, L"Two\r\nlines: x");
}

TEST(Calls, AFailureIsAnsweredAndLeavesNothingBehind)
{
    const Calls monitor; // which does not forgive
    const Traces traces;
    monitor->setDisplayDlgBoxFunction(nullptr);
    EXPECT_EQ(calls::texts(monitor, "x", zmu::catalog::Html("y")), zmu::dx::DisplayFunctionMissing);
    EXPECT_EQ(calls::Recorded(monitor).u(1).report(), zmu::dx::DisplayFunctionMissing);
    EXPECT_TRUE(monitor->isSelfSatisfied());
    EXPECT_TRUE(monitor->isSituationNormal());
    EXPECT_EQ(calls::nothing(monitor), 0);
    EXPECT_EQ(monitor.entry(), "Nothing to tell.");
    EXPECT_EQ(calls::nothing(nullptr), zmu::dx::NoDataSet);
}

TEST(Calls, TheLanguageIsChosenAtRunTime)
{
    const zmu::catalog::Html link("y");
    for (const auto& [languages, entry] : {std::pair("de", "<i>Bl\u00fcte y x"),
                                           {"de_AT.UTF-8:en", "<i>Bl\u00fcte y x"},
                                           {"fr:DE", "<i>Bl\u00fcte y x"},
                                           {"fr", "<b>x y"},
                                           {"en:de", "<b>x y"},
                                           {"C", "<b>x y"},
                                           {"::d:", "<b>x y"}}) {
        const Calls monitor(languages);
        EXPECT_EQ(calls::texts(monitor, "x", link), 0);
        EXPECT_EQ(monitor.entry(), QString::fromUtf8(entry)) << languages;
    }
    using zmu::catalog::chooseTranslation;
    const zmu::catalog::Translation all[] = {{"en", L""}, {"pt-BR", L""}, {"pt", L""}};
    EXPECT_EQ(chooseTranslation(all, "pt"), 2U);
    EXPECT_EQ(chooseTranslation(all, "pt_PT@euro"), 1U);
    const zmu::catalog::Translation missing[] = {{"en", L"calls.dll"}, {"fr", L"no_such.dll"}};
    EXPECT_NE(zmu::catalog::loadTranslation(missing, "fr"), nullptr);
}
