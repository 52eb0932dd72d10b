// What is found in a string, and the strings made of its parts. Each case runs in both widths.
#include <zmu/foundation/UTL_String.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

constexpr u64 npos = UTL_String::npos;
using Pair = std::pair<const char*, const char*>;

template <class Body>
void inBothWidths(const char* text, Body body)
{
    const UTL_String narrow(text);
    body(narrow);
    body(UTL_String(narrow.wideText()));
}

} // namespace

TEST(StringSearch, FindsFromEitherEnd)
{
    const struct {
        const char *text, *part;
        u64 from, first, last;
    } cases[] = {
        {"abcabc", "bc", 0, 1, 4}, {"abcabc", "bc", 2, 4, 4},      {"abcabc", "bc", 5, npos, npos},
        {"abcabc", "", 3, 3, 6},   {"abcabc", "", 6, 6, 6},        {"abcabc", "", 7, npos, npos},
        {"", "", 0, 0, 0},         {"ab", "abc", 0, npos, npos},   {"aaa", "aa", 0, 0, 1},
        {"abc", "abc", 0, 0, 0},   {"abc", "c", npos, npos, npos}, {"abcabc", "c", 0, 2, 5},
        {"", "a", 0, npos, npos},  {"abc", "x", 0, npos, npos}};
    for (const auto& c : cases) {
        inBothWidths(c.text, [&](const UTL_String& text) {
            EXPECT_EQ(text.find(UTL_String(c.part), c.from), c.first) << c.text << ' ' << c.part;
            EXPECT_EQ(text.findLast(UTL_String(c.part), c.from), c.last) << c.text << ' ' << c.part;
            if (std::string(c.part).size() != 1)
                return;
            EXPECT_EQ(text.find(*c.part, c.from), c.first);
            EXPECT_EQ(text.findLast(static_cast<wchar_t>(*c.part), c.from), c.last);
        });
    }
    if (sizeof(wchar_t) == 2)
        return;
    // A character's index counts in the text of its own width, which may be longer or shorter.
    for (const UTL_String& text :
         {UTL_String(L"\u20AC\u20ACz"), UTL_String("\xE2\x82\xAC\xE2\x82\xACz")}) {
        EXPECT_TRUE(text.find('z') == 6 && text.findLast('z') == 6);
        EXPECT_TRUE(text.find(L'z') == 2 && text.findLast(L'x') == npos);
    }
}

TEST(StringSearch, PartsStayWithinTheTextAndCompare)
{
    inBothWidths("abcdef", [](const UTL_String& text) {
        EXPECT_STREQ(text.substring(0, npos).narrowText(), text.narrowText());
        EXPECT_STREQ(text.substring(4, 3).narrowText(), "ef");
        for (const u64 start : {u64(6), u64(7), npos})
            EXPECT_EQ(text.substring(start, npos).length(), 0U);
        EXPECT_TRUE(text.beginsWith("abc") && text.beginsWith("") && text.beginsWith(text));
        EXPECT_FALSE(text.beginsWith("abd") || text.beginsWith("abcdefg"));
        EXPECT_TRUE(text.endsWith(L"def") && text.endsWith("") && text.endsWith(text));
        EXPECT_FALSE(text.endsWith("de") || text.endsWith("xabcdef"));
        EXPECT_TRUE(text < UTL_String("abd") && !(text < text));
    });
    const struct {
        const char *left, *right;
        unsigned limit, start;
        bool isEqual;
    } cases[] = {
        {"", "", 0, 0, true},          {"abc", "abd", 2, 0, true},     {"abc", "abd", 3, 0, false},
        {"abc", "abcdef", 0, 0, true}, {"abc", "abcdef", 99, 0, true}, {"xbcd", "ybcd", 3, 1, true},
        {"xbcd", "ybcz", 2, 1, true},  {"xbcd", "ybcz", 3, 1, false}, // runs past the limit
        {"xbc", "ybc", 2, 3, false}                                   // the start becomes 0
    };
    for (const auto& c : cases) {
        inBothWidths(c.left, [&](const UTL_String& left) {
            EXPECT_EQ(left.equalsPart(c.right, c.limit, c.start), c.isEqual) << c.left << c.right;
        });
    }
}

TEST(StringSearch, CutsDelimitersBlanksAndQuotes)
{
    const struct {
        const char *text, *delimiters, *prefix;
    } prefixes[] = {{"a;b,c", ",;", "a;b"}, {"a;b,c", ";,", "a"}, {"abc", ";,", "abc"},
                    {"abc", "", ""},        {";", ";", ""},       {"", ";", ""}};
    for (const auto& c : prefixes) {
        inBothWidths(c.text, [&](const UTL_String& text) {
            EXPECT_STREQ(text.prefixBefore(c.delimiters).narrowText(), c.prefix) << c.text;
        });
    }
    // Of blanks, then of quotes.
    const Pair cuts[] = {{" \t\na b\n\t ", "a b"},
                         {" \n ", ""},
                         {" a", "a"},
                         {"a ", "a"},
                         {"a\r\n", "a\r"},
                         {" \xC3\xA9 ", "\xC3\xA9"},
                         {"\"ab\" ", "ab"},
                         {"\"\"", ""},
                         {"\"", "\""},
                         {"\"ab", "\"ab"},
                         {"", ""}};
    for (const auto& cut : cuts) {
        inBothWidths(cut.first, [&](const UTL_String& text) {
            EXPECT_STREQ(text.trimmed().stripQuotes().narrowText(), cut.second) << cut.first;
        });
    }
    EXPECT_STREQ(UTL_String("aB1\xC3\xA9").toUpper().narrowText(), "AB1\xC3\xA9");
    EXPECT_EQ(UTL_String(L"aB").toLower().length(), 0U); // deliberately not offered
}

TEST(StringSearch, WildcardsTakeNothingAtTheEnd)
{
    // Text and pattern.
    const Pair good[] = {{"", ""},      {"", "**"},      {"a", "a*"},         {"ab", "*b"},
                         {"b", "*b"},   {"ab", "a*b"},   {"axxb", "a**b"},    {"axb", "a?b"},
                         {"aa", "*a*"}, {"abab", "*ab"}, {"abcabd", "a*c*d"}, {"abc", "*?c"},
                         {"abc", "*?"}};
    const Pair bad[] = {{"", "?"},     {"a", ""},      {"a", "*"},     {"ab", "a*"},
                        {"ab", "a?b"}, {"aab", "*a*"}, {"abc", "a*d"}, {"log.txt.bak", "*.txt"}};
    for (const auto& [text, pattern] : good)
        EXPECT_TRUE(UTL_String(text).matches(pattern)) << text << " as " << pattern;
    for (const auto& [text, pattern] : bad)
        EXPECT_FALSE(UTL_String(text).matches(pattern)) << text << " as " << pattern;
    // Many runs on a long text must not multiply.
    const std::string text(20000, 'a');
    EXPECT_FALSE(UTL_String(text.c_str()).matches(L"*a*a*a*a*a*a*a*a*a*a*a*b"));
}
