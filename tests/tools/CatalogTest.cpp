// Catalogues: what is wrong with one, and what it compiles to.
#include <tools/catalog/Compiler.h>
#include <tools/catalog/Writers.h>

#include <gtest/gtest.h>

#include <ctime>
#include <functional>

using namespace zmu_tools;

namespace {

/// What is found in a catalogue "situations.toml" and, unless it is empty, in its translation.
std::vector<std::string> findingsOf(const std::string& text, const std::string& translation = "")
{
    std::vector<CatalogFile> translations;
    if (!translation.empty())
        translations.push_back({"situations.de.toml", translation});
    Findings findings;
    const Catalog catalog = readCatalog({"situations.toml", text}, translations, findings);
    compile(catalog, findings);
    std::vector<std::string> texts;
    for (const Finding& finding : findings.sorted())
        texts.push_back(toText(finding));
    return texts;
}

std::string joined(const std::vector<std::string>& lines)
{
    std::string all;
    for (const std::string& line : lines)
        all += line + "\n";
    return all;
}

/// A catalogue, and the one thing that is wrong with it.
struct Mistake {
    std::string text;
    std::string finding; ///< Begins with line and column; the file's name is left out.
};

/// Checks the finding of each mistake, whose file is `file`.
void expectFinding(const std::vector<std::string>& found, const std::string& file,
                   const Mistake& mistake)
{
    SCOPED_TRACE(mistake.text);
    ASSERT_EQ(found.size(), 1U) << joined(found);
    EXPECT_EQ(found[0].substr(0, file.size() + 1 + mistake.finding.size()),
              file + ":" + mistake.finding);
}

std::string situation(const std::string& lines)
{
    return "[situations.s]\nid = 1\n" + lines;
}

/// Processor time that it takes to read and compile a catalogue, in seconds.
double timeOf(const std::string& text)
{
    const std::clock_t begin = std::clock();
    EXPECT_FALSE(findingsOf(text).empty());
    return double(std::clock() - begin) / CLOCKS_PER_SEC;
}

} // namespace

TEST(Catalog, EachMistakeIsToldWithItsPlace)
{
    const std::string shown = "arguments = [\"n: u32\", \"t: text\"]\nlog = \"{n} {t}";
    const Mistake mistakes[] = {
        // The file
        {"", "1:1: error: there is no situation: write [situations.sessionStarted]"},
        {"[situations.s]\nid = = 1", "2:6: error: "},
        {"[situations.s]\nid = 1\nid = 2", "3:"},
        {"\xff", "1:1: error: the file is not UTF-8"},
        {"x = '''a.b.c.d.e.f.g.h.i.j.k.l.m.n.o.p.q'''' # a.b.c.d.e.f.g.h.i.j.k.l.m.n.o.p.q\n"
         "a . 'b' . \"\\\".\".d.e.f.g.h.i.j.k.l.m.n.o.p.q = 1",
         "2:42: error: this key has more than 16 parts"},
        {"[situation.s]\nid = 1\n[situations.a]\nid = 1\nlog = \"x\"",
         "1:2: error: 'situation' is no key of a catalogue, did you mean 'situations'?"},
        {"\xef\xbb\xbf\xef\xbb\xbf" + situation(""), "1:13: error: 's' tells nobody anything"},
        {"catalog = 3\n" + situation("log = \"x\""), "1:11: error: 'catalog' must be a table"},
        {"[catalog]\nids = \"20-10\"\n" + situation("log = \"x\""),
         "2:7: error: '20-10' is no range of IDs: write one such as \"1000-1999\""},
        {"[catalog]\nlanguage = \"e\"\n" + situation("log = \"x\""),
         "2:12: error: 'e' is no language"},
        {"[catalog]\nnamespace = \"a::int\"\n" + situation("log = \"x\""),
         "2:13: error: 'a::int' is no namespace"},
        {"[catalog]\nnamespace = \"time\"\n" + situation("log = \"x\""),
         "2:13: error: 'time' is no namespace, or means something else to C++"},
        {"[catalog]\nroom = 5\n" + situation("log = \"x\""),
         "2:8: error: 'room' must be a whole number from 100 to 1023"},
        {"[plugins]\na = 0\nb = 0\n" + situation("log = \"x\""),
         "3:5: error: row 0 is taken by 'a'"},
        {"[affixes]\na = 'x {b}'\n" + situation("log = \"x\""),
         "2:9: error: an affix has no arguments"},
        {"[plugins]\nBeep = 0\n" + situation("log = \"x\""),
         "2:1: error: 'Beep' cannot be the name of a plug-in"},
        // A situation
        {"[situations]\ns = 1", "2:1: error: 's' must be a table"},
        {"[situations.S]\nid = 1\nlog = \"x\"",
         "1:13: error: 'S' cannot be the name of a situation"},
        {"[situations.s]\nlog = \"x\"", "1:13: error: 's' has no id: write id = 1"},
        {"[situations.s]\nid = 65536\nlog = \"x\"",
         "2:6: error: 'id' must be a whole number from 1 to 65535"},
        {"[catalog]\nids = \"5-9\"\n" + situation("log = \"x\""),
         "4:6: error: ID 1 is outside the range of this catalogue, 5 to 9"},
        {situation("log = \"x\"\n[situations.t]\nid = 1\nlog = \"y\""),
         "5:6: error: ID 1 is taken by 's' in line 1: the next free one is 2"},
        {"[catalog]\nids = \"2-4\"\n[situations]\ns = { log = \"x\" }\n"
         "t = { id = 2, log = \"x\" }\nu = { id = 4, log = \"x\" }",
         "4:1: error: 's' has no id: write id = 3"},
        {"[catalog]\nids = \"2-2\"\n[situations]\ns = { log = \"x\" }\n"
         "t = { id = 2, log = \"x\" }",
         "4:1: error: 's' has no id, and the range 2-2 is full: widen ids below [catalog]"},
        {situation(""), "1:13: error: 's' tells nobody anything"},
        {situation("lgo = \"x\"\nlog = \"x\""),
         "3:1: error: 'lgo' is no key of a situation, did you "
         "mean 'log'?"},
        {situation("log = \" \""), "3:7: error: the text is empty"},
        {situation("log = 3"), "3:7: error: 'log' must be a text"},
        {situation("log = \"x\"\nlevel = 6"), "4:9: error: 'level' must be \"always\", \"never\""},
        {situation("log = \"x\"\nlevel = 1\ntraits = 2"), "5:10: error: there is a level already"},
        {"[situations.plugIns]\nid = 1\nlog = \"x\"\nrecorded = true",
         "1:13: error: 'plugIns' cannot have recorded arguments"},
        {situation("log = \"x\"\nrecorded = 1"), "4:12: error: 'recorded' must be true or false"},
        {situation("log = \"x\"\nplugins = [\"beep\"]"),
         "4:12: error: there is no plug-in 'beep' below [plugins]"},
        {situation("log = \"x\"\nprefix = \"note\""),
         "4:10: error: there is no affix 'note' below [affixes]"},
        // Arguments
        {situation("arguments = \"n\"\nlog = \"x\""), "3:13: error: 'arguments' must be a list"},
        {situation("arguments = [\"n\"]\nlog = \"{n}\""), "3:14: error: 'n' has no kind"},
        {situation("arguments = [\"n : u23\"]\nlog = \"{n:5}\""),
         "3:19: error: there is no kind 'u23', did you mean 'u32'?"},
        {situation("arguments = [\"int: u32\"]\nlog = \"{int}\""),
         "3:15: error: 'int' cannot be the name of an argument"},
        {situation("arguments = [\"n: u32\", \"n: u32\"]\nlog = \"{n}\""),
         "3:25: error: there is an argument 'n' already"},
        {situation("arguments = [\"n: text[x]\"]\nlog = \"{n}\""),
         "3:22: error: the length of the longest text"},
        {situation("arguments = [\"n: u32[4]\"]\nlog = \"{n}\""),
         "3:21: error: only the kinds 'text' and 'html' have a length"},
        {situation("arguments = [\"n: u32\"]\nlog = \"x\""),
         "3:15: warning: the argument 'n' is never shown: put {n} into a text"},
        // Texts, also where characters have more bytes or escapes, and over lines
        {situation(shown + " {m}\""), "4:17: error: no argument is called 'm'"},
        {situation(shown + " \\u00e9 \xc3\xa9 {m}\""), "4:26: error: no argument is called 'm'"},
        {situation("arguments = [\"n: u32\"]\nlog = \"\"\"\n{n} \\\n   caf\xc3\xa9 {m}\"\"\""),
         "6:10: error: no argument is called 'm'"},
        {situation("log = '''\r\nx\r\n  {m}'''"), "5:4: error: no argument is called 'm'"},
        {situation(shown + " {n:s}\""), "4:19: error: the format 's' does not fit the kind u32"},
        {situation(shown + " {n:-05}\""), "4:19: error: the format '-05' does not fit"},
        {situation(shown + " {t:05}\""), "4:19: error: the format '05' does not fit"},
        {situation(shown + " {t:.3}\""), "4:19: error: the format '.3' does not fit the kind text"},
        {situation(shown + " {n:}\""), "4:18: error: no format stands behind this colon"},
        {situation(shown + " {n\""), "4:16: error: the insert that begins here is not closed"},
        {situation(shown + " }\""), "4:16: error: a } closes no insert"},
        {situation("log = \"|\""), "3:8: error: the character | separates the parts"},
        {situation(shown + " |\""), "4:16: error: the character | separates the parts"},
        {situation(shown + " ~\""), "4:16: error: the character ~ separates the parts"},
        {situation(shown + " `\""), "4:16: error: the character ` separates the parts"},
        {situation(shown + " \\u0001\""), "4:16: error: the control character 01"},
        // The display
        {situation("display = \"x\""), "3:11: error: a display text needs a style"},
        {situation("display = { text = \"x\" }"), "3:11: error: a display text needs a style"},
        {situation("display = { style = \"plain\" }"), "3:11: error: this display has no text"},
        {situation("display = { text = \"x\", style = \"eror\" }"),
         "3:33: error: there is no style 'eror', did you mean 'error'?"},
        {situation("display = { text = \"x\", style = 0, wrap = 255 }"),
         "3:43: error: 'wrap' must be the column"},
        {situation("display = \"&\""), "1:13: error: 's' tells nobody anything"},
        // Lengths
        {situation("log = \"" + std::string(801, 'x') + "\""),
         "3:7: error: with the longest arguments this text has 801 characters, and the log has "
         "room "
         "for 800: shorten it"},
        {situation("arguments = [\"t: text[500]\"]\nlog = \"{t} {t}\""),
         "4:7: error: with the longest arguments this text has 1001 characters, and the log has "
         "room "
         "for 800: shorten it, or tell a shorter 't'"},
        {situation("display = { style = 0, wrap = false, text = \"" + std::string(512, 'x') +
                   "\" }"),
         "3:45: error: with the longest arguments this text has 512 characters, and the display"},
        {situation("display = { style = 0, wrap = false, text = \"" + std::string(505, 'x') +
                   "\" }"),
         "3:45: error: the response spec of 's' has 513 characters for the display"},
        // What the library itself has to say: an empty text would be all of the description
        {situation("arguments = [\"t: text\"]\nlog = \"{t}\""),
         "4:7: error: the library, on 's': 53/FormatLogFailed, "},
    };
    for (const Mistake& mistake : mistakes)
        expectFinding(findingsOf(mistake.text), "situations.toml", mistake);
}

TEST(Catalog, MistakesOfATranslationAreToldInItsFile)
{
    const std::string first =
        "[affixes]\na = \"a\"\n[situations.s]\nid = 1\n"
        "arguments = [\"n: u32\", \"m: u32\"]\nprefix = \"a\"\nlog = \"{n} {m}\"\n"
        "explanation = \"e\"\n";
    const std::string affix = "affixes.a = \"b\"\n";
    const std::string texts = affix + "[situations.s]\nexplanation = \"f\"\n";
    const Mistake mistakes[] = {
        {affix, "1:1: warning: the situation 's' is not translated: it stays in 'en'"},
        {"[situations.s]\nexplanation = \"f\"\nlog = \"{m} {n}\"",
         "1:1: warning: the affix 'a' is not translated: it stays in 'en'"},
        {affix + "[situations.s]\nlog = \"{m} {n}\"",
         "2:1: warning: 'explanation' is not translated: it stays in 'en'"},
        {texts, "2:1: warning: 'log' is not translated: it stays in 'en'"},
        {texts + "log = \"{n}\"", "4:7: error: this text lacks {m}"},
        {texts + "log = \"{n} {m} {o}\"", "4:17: error: no argument is called 'o'"},
        {texts + "log = \"{n} {m}\"\ndisplay = \"x\"",
         "5:11: error: there is nothing to translate"},
        {texts + "log = \"{n} {m}\"\narguments = [\"m\", \"n\"]",
         "5:13: error: the arguments differ from those in 'en', [\"n\", \"m\"]"},
        {texts + "log = \"{n} {m}\"\narguments = [\"n: u64\", \"m\"]",
         "5:13: error: the arguments differ"},
        {texts + "log = \"{n} {m}\"\nid = 1", "5:1: error: 'id' is no key of a situation in a"},
        {affix + "[situations.s]\nexplanation = \"f\"\nlog = \"{n} {m}\"\n[situations.t]\n",
         "5:13: error: 'situations' has no situation 't', did you mean 's'?"},
        {texts + "log = \"{n} {m}" + std::string(800, 'x') + "\"",
         "4:7: error: with the longest arguments this text has 822 characters"},
    };
    for (const Mistake& mistake : mistakes)
        expectFinding(findingsOf(first, mistake.text), "situations.de.toml", mistake);
    const std::string translation = texts + "log = \"{n} {m}\"";
    Findings findings;
    readCatalog({"s.toml", first}, {{"s.de.toml", translation}, {"s.DE.toml", translation}},
                findings);
    ASSERT_EQ(findings.sorted().size(), 1U);
    EXPECT_EQ(toText(findings.sorted()[0]),
              "s.DE.toml:1:1: error: there are texts in 'DE' already");
}

TEST(Catalog, AllMistakesAreToldInOneRunAndInTheirOrder)
{
    const std::string found = joined(findingsOf(situation(
        "log = \"{a} {b\"\ncolour = 1\n[situations.t]\nid = 1\nlog = \"" + std::string(900, 'x') +
        "\"\n[situations.u]\nid = 3\nlog = \"" + std::string(900, 'x') + "\"")));
    std::size_t at = 0;
    for (const char* const place : {":3:9: ", ":3:12: ", ":4:1: ", ":6:6: ", ":10:7: "}) {
        at = found.find(place, at);
        EXPECT_NE(at, std::string::npos) << place << "\n" << found;
    }
}

TEST(Catalog, OfVeryManyMistakesTheFirstAreTold)
{
    std::string arguments, log;
    for (int i = 0; i < 50; ++i)
        arguments += "\"argument" + std::to_string(i) + ": u32\", ";
    for (int i = 0; i < 5000; ++i)
        log += "{x}";
    Findings findings;
    readCatalog(
        {"situations.toml", situation("arguments = [" + arguments + "]\nlog = '" + log + "'")}, {},
        findings);
    EXPECT_EQ(findings.errorCount(), 5000U);
    EXPECT_EQ(findings.sorted().size(), 300U);
    EXPECT_EQ(findings.untold(), "... and 4700 more mistakes");
    EXPECT_TRUE(findings.sorted().at(0).text.ends_with("'argument9' and 40 others"))
        << findings.sorted().at(0).text;
}

TEST(Catalog, FourTimesAsMuchTakesAboutFourTimesAsLong)
{
    struct Case {
        const char* what;
        std::function<std::string(int)> text;
        int size;
    };
    const auto repeated = [](int count, const std::function<std::string(std::string)>& one) {
        std::string all;
        for (int i = 0; i < count; ++i)
            all += one(std::to_string(i));
        return all;
    };
    const Case cases[] = {
        {"strings on one line",
         [&](int n) {
             return "affixes = {" +
                    repeated(n,
                             [](const std::string& i) {
                                 return (i == "0" ? "a" : ", a") + i + " = 'x'";
                             }) +
                    "}";
         },
         2000},
        {"long names", [](int n) { return std::string(n, 'a') + " = 1"; }, 20000},
        {"one ID for all",
         [&](int n) {
             return repeated(n, [](const std::string& i) {
                 return "situations.s" + i + " = { id = 1, log = 'x' }\n";
             });
         },
         500},
        {"unknown affixes",
         [&](int n) {
             return repeated(n, [](const std::string& i) {
                 return "affixes.a" + i + " = 'x'\nsituations.s" + i + " = { prefix = 'b" + i +
                        "', log = 'x' }\n";
             });
         },
         500},
        {"forms of arguments",
         [&](int n) {
             return situation(
                 "arguments = ['n: f64']\nlog = '" +
                 repeated(n,
                          [](const std::string& i) { return "{n:0" + i.substr(0, 2) + ".6f}"; }) +
                 "'");
         },
         5000},
    };
    for (const Case& each : cases) {
        double ratio = 0;
        for (int attempt = 0; attempt < 3 && (attempt == 0 || ratio > 9); ++attempt)
            ratio = timeOf(each.text(4 * each.size)) / (timeOf(each.text(each.size)) + 0.01);
        EXPECT_LT(ratio, 9) << each.what;
    }
}

TEST(Catalog, CompilesToSpecsOfTheLibrary)
{
    struct Case {
        std::string text;
        std::string spec;
    };
    const Case cases[] = {
        {"log = \"100 % {{x}}\"", "2~536870912~0||``100 %% {x}`"},
        {"arguments = [\"n: u32\", \"d: i32\"]\nlog = \"{d:-6} {n:08X} {n}\"",
         "2~536870912~2~u`d||``%2!-6d! %1!08X! %1!u!`"},
        {"level = \"always\"\nlog = \"x\"", "1~-1~0||``x`"},
        {"level = \"never\"\nlog = \"x\"", "2~0~0||``x`"},
        {"level = 2\nlog = \"x\"", "2~8589934592~0||``x`"},
        {"display = \"&\"\nlog = \"x\"", "2~536870912~0|&|``x`"},
        {"display = { style = \"warning\", text = \"a\\nb\" }", "2~536870912~0|48~``a%nb`|```"},
        {"prefix = \"p\"\nsuffix = \"s\"\nplugins = [\"b\", \"a\"]\nlog = \"x\"\n"
         "display = { style = 3, wrap = false, text = \"y\" }",
         "2~536870912~0~~1`0|3~255``<y>`|``[x]`"},
        // A text of display and log travels twice, one of the log once; a number once a format.
        {"arguments = [\"t: text\"]\nlog = \"a {t}\"", "2~536870912~2~s||``a %1!s!`"},
        {"arguments = [\"t: text\", \"n: u32\"]\nlog = \"{t} {n}\"\n"
         "display = { style = 0, text = \"{t:9} {n}\" }",
         "2~536870912~2~s`u`s|0~``%1!9s! %2!u!`|``%3!s! %2!u!`"},
        {"recorded = true\narguments = [\"n: u64\", \"t: html\", \"d: i32\"]\n"
         "log = \"{n} {n:x} {t} {d}\"",
         "2~536870912~1~s0`s1`d0`s2||``%1!s! %4!s! %2!s! %3!d!`"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.text);
        Findings findings;
        const Catalog catalog =
            readCatalog({"situations.toml", "[plugins]\na = 0\nb = 1\n[affixes]\n"
                                            "p = { log = \"[\", display = \"<\" }\n"
                                            "s = { log = \"]\", display = \">\" }\n" +
                                                situation(each.text)},
                        {}, findings);
        const std::vector<CompiledSituation> compiled = compile(catalog, findings);
        for (const Finding& finding : findings.sorted())
            ADD_FAILURE() << toText(finding);
        EXPECT_EQ(compiled.at(0).specs.at(0), each.spec);
    }
}

TEST(Catalog, TextsAreCutToWhatTheDisplayHasLinesFor)
{
    for (const int wrap : {1, 4, 20, 67, 254})
        for (const std::string text : {"{t} is", "{t} {u}", "a {t} bb {u} ccc"}) {
            SCOPED_TRACE(text + " at " + std::to_string(wrap));
            EXPECT_EQ(joined(findingsOf(situation(
                          "arguments = [\"t: text\", \"u: text\"]\nplugins = [\"a\"]\n"
                          "display = { style = 0, text = \"" +
                          text + "\", wrap = " + std::to_string(wrap) + " }\n[plugins]\na = 0"))),
                      "");
        }
}

TEST(Catalog, WhatIsNotTranslatedStaysInTheFirstLanguage)
{
    Findings findings;
    const Catalog catalog =
        readCatalog({"s.toml", "affixes.a = \"a \"\nsituations.s = { id = 1, prefix = \"a\", "
                               "log = \"x\", display = { style = 0, text = \"y\" } }\n"
                               "situations.t = { id = 2, log = \"z\" }"},
                    {{"s.de.toml", "affixes.a = \"b \"\nsituations.s.log = \"w\""}}, findings);
    const std::vector<CompiledSituation> compiled = compile(catalog, findings);
    EXPECT_FALSE(findings.hasErrors());
    EXPECT_EQ(findings.sorted().size(), 2U); // the display, and the situation t
    EXPECT_EQ(compiled.at(0).specs.at(1), "2~536870912~0|0~``a y`|``b w`");
    EXPECT_EQ(compiled.at(1).specs.at(1), compiled.at(1).specs.at(0));
}

TEST(Catalog, StringsAreAsciiWhateverTheTextsAre)
{
    Findings findings;
    const Catalog catalog = readCatalog(
        {"s.toml", situation("log = '\xc3\xa4\xf0\x9f\x98\x80 \"\\ \tx'")}, {}, findings);
    const std::vector<CompiledSituation> compiled = compile(catalog, findings);
    EXPECT_NE(moduleText(catalog, compiled, 0)
                  .find(R"({1, L"2~536870912~0||``\u00e4\U0001f600 \"\\ \011x`"},)"),
              std::string::npos);
    EXPECT_NE(stringTableText(catalog, compiled, 0)
                  .find(R"(1 L"2~536870912~0||``\x00e4\xd83d\xde00 ""\\ \x0009x`")"),
              std::string::npos);
}

TEST(Catalog, ThePageShowsMarkupAndIsNone)
{
    Findings findings;
    const Catalog catalog =
        readCatalog({"situations.toml",
                     situation("arguments = [\"t: text\"]\n"
                               "log = '<a href={t} title=\">x\">1 < 2</a><br>&amp; {t}'\n"
                               "explanation = \"a <script> is & stays\\n\\ntext\"\naction = '\"'")},
                    {}, findings);
    const std::string page = pageText(catalog, 0);
    EXPECT_NE(page.find("<article id=\"1\">\n<h2>1 s</h2>\n<p>1 &lt; 2 &amp; <i>t</i></p>\n<p>a "
                        "&lt;script&gt; is &amp; stays</p>\n<p>text</p>\n<div class=\"action\">"
                        "<p>&quot;</p>\n</div>"),
              std::string::npos)
        << page;
}
