// Texts of others in a page: what they look like there, and that they do nothing.
#include <collect/EntryText.h>

#include <gtest/gtest.h>

#include <random>
#include <regex>

using namespace zmu_collect;
using zmu_spool::SpoolLine;

namespace {

struct Entries {
    explicit Entries(const std::string& description)
    {
        SpoolLine line;
        line.host = "h<7>";
        line.program = "pw";
        line.process = 812;
        line.sequence = 17;
        line.situation = 1001;
        line.description = description;
        Report report;
        report.source = "ada/h 7";
        report.owner = "ada";
        report.line = &line;
        report.sequence = 17;
        EntryText text;
        for (const EntryPart& part : text.compose(report))
            parts.push_back(part);
    }
    /// The description in one part, without what is behind it.
    std::wstring body(std::size_t part = 0) const
    {
        return parts[part].text.substr(0, parts[part].text.find(L" <i data-zmu="));
    }

    std::vector<EntryPart> parts;
};

std::wstring bodyOf(const std::string& description)
{
    return Entries(description).body();
}

} // namespace

TEST(EntryText, TellsWhereASituationComesFrom)
{
    const Entries entries("Session 7.");
    ASSERT_EQ(entries.parts.size(), 1);
    EXPECT_EQ(entries.parts[0].identity, "ada/h%207#17");
    EXPECT_EQ(entries.parts[0].text,
              L"Session 7. <i data-zmu=\"ada/h%207#17\">1970-01-01T00:00:00.000000000Z "
              L"ada@h&lt;7&gt; pw[812]</i>");

    Report report;
    report.kind = Report::Kind::PassedOver;
    report.source = "1000/h7_pw";
    report.owner = "ada";
    EntryText text;
    const EntryPart part = text.compose(report).front();
    EXPECT_TRUE(part.identity.starts_with("1000/h7_pw#")) << part.identity;
    EXPECT_NE(part.text.find(L">ada/h7_pw</i>"), std::wstring::npos);
}

TEST(EntryText, KeepsOnlyMarkupThatDoesNoHarm)
{
    struct Row {
        const char* description;
        const wchar_t* html;
    };
    const Row rows[] = {
        {"<b class=\"good\">good</b> a <i>b</i><br><code>c</code>",
         L"<b class=\"good\">good</b> a <i>b</i><br><code>c</code>"},
        {"&lt;&amp;&#228;&#x41;&#;&;&& &script",
         L"&lt;&amp;&#228;&amp;#x41;&amp;#;&amp;;&amp;&amp; &amp;script"},
        {"&#8238;&#9;&#99999999999;&#1;&#127;&#65;",
         L"&amp;#8238;&amp;#9;&amp;#99999999999;&amp;#1;&amp;#127;&#65;"},
        {"<a href=\"Codes/WLE.html#5\">WLE5</a>", L"<a href=\"Codes/WLE.html#5\">WLE5</a>"},
        {"<a href=\"Codes/../x.html#5\">", L"&lt;a href=&quot;Codes/../x.html#5&quot;&gt;"},
        {"<a href=\"Codes/WLE.html#5\" onclick=\"x\">",
         L"&lt;a href=&quot;Codes/WLE.html#5&quot; onclick=&quot;x&quot;&gt;"},
        {"<script>'x'</script>", L"&lt;script&gt;&#39;x&#39;&lt;/script&gt;"},
        {"<b onclick=x>", L"&lt;b onclick=x&gt;"},
        {"</b></i>", L"&lt;/b&gt;&lt;/i&gt;"},
        {"<b><i></b>", L"<b><i>&lt;/b&gt;</i></b>"},
        {"<!--", L"&lt;!--"},
        {"<i data-zmu=\"x#1\">", L"&lt;i data-zmu=&quot;x#1&quot;&gt;"},
        {"a\r\nb\tc\x1B[31m\x7F", L"a<br>b c\\x1b[31m\\x7f"},
        {"\xC2\x9B \xE2\x80\xAE", L"\\x9b \\u202e"},
        {"Ä€😀", L"Ä€😀"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(bodyOf(row.description), row.html) << row.description;
}

TEST(EntryText, CutsNoMarkupOfAnOrigin)
{
    for (std::size_t length = 0; length < 64; ++length) {
        const std::string owner(length, 'x'); // of which the report has a view
        SpoolLine line;
        line.host = std::string(64, '"');
        line.program = "pw" + std::string(length, '\n') + "<b>";
        Report report;
        report.owner = owner;
        report.line = &line;
        EntryText text;
        const std::wstring& entry = text.compose(report).front().text;
        EXPECT_FALSE(std::regex_search(entry, std::wregex(L"<[^>]*<|&[^;]*<"))) << length;
    }
}

TEST(EntryText, CutsWhatIsLong)
{
    const Entries twice(std::string(1200, '<'));
    ASSERT_GT(twice.parts.size(), 4);
    std::wstring all;
    for (std::size_t i = 0; i < twice.parts.size(); ++i) {
        all += twice.body(i);
        const std::string note =
            ", part " + std::to_string(i + 1) + " of " + std::to_string(twice.parts.size());
        EXPECT_NE(twice.parts[i].text.find(std::wstring(note.begin(), note.end())),
                  std::wstring::npos);
        EXPECT_EQ(twice.parts[i].identity,
                  "ada/h%207#17" + (i == 0 ? "" : '.' + std::to_string(i + 1)));
    }
    EXPECT_EQ(all.size(), 4 * 1200);

    const Entries huge(std::string(1000000, 'x'));
    ASSERT_EQ(huge.parts.size(), partsMax);
    std::size_t shown = 0;
    for (std::size_t i = 0; i < partsMax; ++i)
        shown += huge.body(i).size();
    const std::string note =
        "and " + std::to_string(1000000 - shown) + " bytes of 1000000 are left out</i>";
    EXPECT_TRUE(huge.parts.back().text.ends_with(std::wstring(note.begin(), note.end())));
}

TEST(EntryText, IsBalancedAndFitsWhateverItIs)
{
    const char* const tokens[] = {"<b>",  "</b>",   "<i>",  "</i>", "<b class=\"note\">",
                                  "<br>", "<code>", "</a>", "&lt;", "<a href=\"Codes/WLE.html#5\">",
                                  "<",    "😀",      "\n",   "\x80", "some more words "};
    std::mt19937 random(20261122); // NOLINT(cert-msc51-cpp): the same each time
    for (int round = 0; round < 200; ++round) {
        std::string text;
        for (unsigned i = 0; i < 1 + random() % 600; ++i)
            text += tokens[random() % std::size(tokens)];
        for (const EntryPart& part : Entries(text).parts) {
            EXPECT_LE(part.text.size(), entryMax);
            std::vector<std::wstring> open;
            const std::wregex tag(L"<(/?)([a-z]+)[^<>]*>");
            for (std::wsregex_iterator at(part.text.begin(), part.text.end(), tag), end; at != end;
                 ++at) {
                const std::wstring name = (*at)[2];
                if (name == L"br")
                    continue;
                if ((*at)[1].length() == 0) {
                    open.push_back(name);
                    continue;
                }
                ASSERT_TRUE(!open.empty() && open.back() == name);
                open.pop_back();
            }
            EXPECT_TRUE(open.empty());
        }
    }
}

TEST(EntryText, IsFoundAgainInALog)
{
    const std::u16string text = u"<html><i data-zmu=\"a#1\">origin</i> <i data-zmu=\"cut off "
                                u"<i data-zmu=\"b#2\">x</i><i>y</i><i data-zmu=\"torn#3\">";
    for (std::size_t piece = 1; piece <= text.size(); ++piece) {
        std::vector<std::string> found;
        std::u16string rest;
        for (std::size_t at = 0; at < text.size(); at += piece) {
            rest += text.substr(at, piece);
            rest.erase(0, markOf(rest, [&](const std::string& mark) { found.push_back(mark); }));
        }
        EXPECT_EQ(found, (std::vector<std::string>{"a#1", "b#2"})) << piece;
    }
}
