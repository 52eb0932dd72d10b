#include "Markup.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace zmu_tools::logs {

namespace {

struct Entity {
    TextView name;
    char16_t character;
};

// Beside those of Latin-1.
constexpr Entity entities[] = {
    {u"amp", u'&'},         {u"apos", u'\''},       {u"bdquo", u'\u201e'},  {u"bull", u'\u2022'},
    {u"dagger", u'\u2020'}, {u"euro", u'\u20ac'},   {u"ge", u'\u2265'},     {u"gt", u'>'},
    {u"harr", u'\u2194'},   {u"hellip", u'\u2026'}, {u"larr", u'\u2190'},   {u"ldquo", u'\u201c'},
    {u"le", u'\u2264'},     {u"lsaquo", u'\u2039'}, {u"lsquo", u'\u2018'},  {u"lt", u'<'},
    {u"mdash", u'\u2014'},  {u"minus", u'\u2212'},  {u"ndash", u'\u2013'},  {u"ne", u'\u2260'},
    {u"OElig", u'\u0152'},  {u"oelig", u'\u0153'},  {u"permil", u'\u2030'}, {u"quot", u'"'},
    {u"rarr", u'\u2192'},   {u"rdquo", u'\u201d'},  {u"rsaquo", u'\u203a'}, {u"rsquo", u'\u2019'},
    {u"sbquo", u'\u201a'},  {u"Scaron", u'\u0160'}, {u"scaron", u'\u0161'}, {u"tilde", u'\u02dc'},
    {u"trade", u'\u2122'},  {u"Yuml", u'\u0178'},
};

// U+00A0 to U+00FF.
constexpr TextView latin1[] = {
    u"nbsp",   u"iexcl",  u"cent",   u"pound",  u"curren", u"yen",    u"brvbar", u"sect",
    u"uml",    u"copy",   u"ordf",   u"laquo",  u"not",    u"shy",    u"reg",    u"macr",
    u"deg",    u"plusmn", u"sup2",   u"sup3",   u"acute",  u"micro",  u"para",   u"middot",
    u"cedil",  u"sup1",   u"ordm",   u"raquo",  u"frac14", u"frac12", u"frac34", u"iquest",
    u"Agrave", u"Aacute", u"Acirc",  u"Atilde", u"Auml",   u"Aring",  u"AElig",  u"Ccedil",
    u"Egrave", u"Eacute", u"Ecirc",  u"Euml",   u"Igrave", u"Iacute", u"Icirc",  u"Iuml",
    u"ETH",    u"Ntilde", u"Ograve", u"Oacute", u"Ocirc",  u"Otilde", u"Ouml",   u"times",
    u"Oslash", u"Ugrave", u"Uacute", u"Ucirc",  u"Uuml",   u"Yacute", u"THORN",  u"szlig",
    u"agrave", u"aacute", u"acirc",  u"atilde", u"auml",   u"aring",  u"aelig",  u"ccedil",
    u"egrave", u"eacute", u"ecirc",  u"euml",   u"igrave", u"iacute", u"icirc",  u"iuml",
    u"eth",    u"ntilde", u"ograve", u"oacute", u"ocirc",  u"otilde", u"ouml",   u"divide",
    u"oslash", u"ugrave", u"uacute", u"ucirc",  u"uuml",   u"yacute", u"thorn",  u"yuml",
};
constexpr char16_t firstLatin1 = u'\u00a0';

// Elements that a line goes through.
constexpr TextView inlineElements[] = {u"a",   u"abbr", u"b",     u"big",  u"cite",   u"code",
                                       u"em",  u"font", u"i",     u"kbd",  u"mark",   u"q",
                                       u"s",   u"samp", u"small", u"span", u"strong", u"sub",
                                       u"sup", u"time", u"tt",    u"u",    u"var",    u"wbr"};

bool isLetter(char16_t unit)
{
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}

bool isBlank(char16_t unit)
{
    return unit == u' ' || unit == u'\t' || unit == u'\n' || unit == u'\r' || unit == u'\f';
}

void append(std::u16string& text, char32_t character)
{
    constexpr char32_t last = 0x10ffff;
    if (character == 0 || character > last || (character >= 0xd800 && character < 0xe000)) {
        text += u'\ufffd';
    } else if (character < 0x10000) {
        text += static_cast<char16_t>(character);
    } else {
        text += static_cast<char16_t>(0xd7c0 + (character >> 10));
        text += static_cast<char16_t>(0xdc00 + (character & 0x3ff));
    }
}

/// The character of a number such as "#233" or "#xE9".
std::optional<char32_t> numbered(TextView name)
{
    constexpr char32_t tooLarge = 0x110000;
    name.remove_prefix(1);
    const bool isHex = name.starts_with(u'x') || name.starts_with(u'X');
    if (isHex)
        name.remove_prefix(1);
    char32_t character = 0;
    for (const char16_t unit : name) {
        const bool isDigit = unit >= u'0' && unit <= u'9';
        const char16_t lower = unit | 0x20;
        if (!isDigit && !(isHex && lower >= u'a' && lower <= u'f'))
            return {};
        const char32_t digit = isDigit ? unit - u'0' : lower - u'a' + 10;
        character = std::min<char32_t>(character * (isHex ? 16 : 10) + digit, tooLarge);
    }
    return name.empty() ? std::nullopt : std::optional(character);
}

std::optional<char32_t> characterOf(TextView name)
{
    if (name.starts_with(u'#'))
        return numbered(name);
    if (const auto row = std::find(std::begin(latin1), std::end(latin1), name);
        row != std::end(latin1))
        return firstLatin1 + static_cast<char32_t>(row - std::begin(latin1));
    const auto row = std::find_if(std::begin(entities), std::end(entities),
                                  [name](const Entity& each) { return each.name == name; });
    return row == std::end(entities) ? std::nullopt : std::optional<char32_t>(row->character);
}

/// Finds the ends of tags and comments. What a text does not have is looked for only once, so that
/// all of it takes time linear in the text.
class Tags {
  public:
    /// The length of the tag or comment that `html` begins with, 0 if it begins with none. Called
    /// with ever shorter ends of one text.
    std::size_t lengthAt(TextView html)
    {
        if (html.starts_with(comment) && m_mayComment) {
            const std::size_t end = html.find(commentEnd, comment.size());
            if (end != nowhere)
                return end + commentEnd.size();
            m_mayComment = false;
        }
        const std::size_t name = html.starts_with(u"</") ? 2 : 1;
        if (!m_mayEnd || name >= html.size() || !(isLetter(html[name]) || html[name] == u'!'))
            return 0;
        const std::size_t end = html.find(u'>');
        m_mayEnd = end != nowhere;
        return m_mayEnd ? std::max(end, endBeyondQuotes(html, end)) + 1 : 0;
    }

  private:
    static constexpr TextView comment = u"<!--";
    static constexpr TextView commentEnd = u"-->";

    /// The first angle bracket in no attribute's quotation marks; `end` if that is none.
    static std::size_t endBeyondQuotes(TextView html, std::size_t end)
    {
        char16_t quote = 0;
        for (std::size_t i = 1; i < html.size(); ++i) {
            if (quote)
                quote = html[i] == quote ? u'\0' : quote;
            else if (html[i] == u'>')
                return i;
            else if ((html[i] == u'"' || html[i] == u'\'') && html[i - 1] == u'=')
                quote = html[i];
        }
        return end;
    }

    bool m_mayComment = true;
    bool m_mayEnd = true;
};

bool isInline(TextView tag)
{
    tag.remove_prefix(tag.starts_with(u"</") ? 2 : 1);
    const auto end = std::find_if_not(tag.begin(), tag.end(), [](char16_t unit) {
        return isLetter(unit) || (unit >= u'0' && unit <= u'9');
    });
    std::u16string name(tag.begin(), end);
    std::transform(name.begin(), name.end(), name.begin(), [](char16_t unit) {
        return isLetter(unit) ? static_cast<char16_t>(unit | 0x20) : unit;
    });
    return name.empty() || std::find(std::begin(inlineElements), std::end(inlineElements), name) !=
                               std::end(inlineElements);
}

} // namespace

std::u16string withoutEntities(TextView text)
{
    constexpr std::size_t longest = 12;
    std::u16string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t end = text.front() == u'&' ? text.substr(0, longest).find(u';') : nowhere;
        if (end != nowhere) {
            if (const std::optional<char32_t> character = characterOf(text.substr(1, end - 1))) {
                append(result, *character);
                text.remove_prefix(end + 1);
                continue;
            }
        }
        result += text.front();
        text.remove_prefix(1);
    }
    return result;
}

std::u16string plainText(TextView html)
{
    std::u16string text;
    Tags tags;
    const auto blank = [&text] {
        if (!text.empty() && text.back() != u' ')
            text += u' ';
    };
    while (!html.empty()) {
        if (const std::size_t length = html.front() == u'<' ? tags.lengthAt(html) : 0) {
            if (!isInline(html.substr(0, length)))
                blank();
            html.remove_prefix(length);
            continue;
        }
        if (isBlank(html.front()))
            blank();
        else
            text += html.front();
        html.remove_prefix(1);
    }
    while (text.ends_with(u' '))
        text.pop_back();
    return withoutEntities(text);
}

std::string_view severityOf(TextView description)
{
    struct Severity {
        TextView element;
        std::string_view name;
    };
    static constexpr Severity severities[] = {{u"<b class=\"note\">", "note"},
                                              {u"<b class=\"good\">", "good"},
                                              {u"<b class=\"warning\">", "warning"},
                                              {u"<b class=\"fault\">", "fault"}};
    while (!description.empty() && isBlank(description.front()))
        description.remove_prefix(1);
    for (const Severity& severity : severities) {
        if (description.starts_with(severity.element))
            return severity.name;
    }
    return {};
}

} // namespace zmu_tools::logs
