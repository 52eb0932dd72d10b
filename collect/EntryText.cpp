#include "EntryText.h"

#include <spool/SpoolWriter.h>
#include <zmu/foundation/internal/Markup.h>
#include <zmu/foundation/internal/Utf8.h>

#include <QByteArray>
#include <QCryptographicHash>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <iterator>

using zmu_spool::SpoolLine;

namespace zmu_collect {

namespace {

/// What the notes behind an origin and the markup around it take, at most.
constexpr std::size_t wrapQty = 120;
/// Bytes of a host's or a program's name that are shown.
constexpr std::size_t nameMax = 64;
constexpr std::size_t sampleMax = 200;
constexpr std::size_t sourceMax = 160;
constexpr std::size_t originMax = 300;

struct Tag {
    std::string_view tag;
    std::string_view name;
};

constexpr Tag tags[] = {
    {"<br>", "br"},
    {"<b>", "b"},
    {"</b>", "b"},
    {"<i>", "i"},
    {"</i>", "i"},
    {"<code>", "code"},
    {"</code>", "code"},
    {"</a>", "a"},
    {"<b class=\"note\">", "b"},
    {"<b class=\"good\">", "b"},
    {"<b class=\"warning\">", "b"},
    {"<b class=\"fault\">", "b"},
};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// The length of a link as formatLogHyperlink makes it: <a href="Codes/WSE.html#5">.
std::size_t codeLink(std::string_view html)
{
    constexpr std::string_view begin = "<a href=\"Codes/";
    constexpr std::string_view middle = ".html#";
    constexpr std::string_view end = "\">";
    constexpr std::size_t longest = 12;
    if (!html.starts_with(begin))
        return 0;
    const char* at = html.data() + begin.size();
    const char* const last = html.data() + html.size();
    const auto skip = [&](auto is) {
        const char* const from = at;
        at = std::find_if_not(at, std::min(last, at + longest), is);
        return at != from;
    };
    const auto take = [&](std::string_view text) {
        if (!std::string_view(at, last).starts_with(text))
            return false;
        at += text.size();
        return true;
    };
    const bool isLink = skip(isLetter) && take(middle) && skip(isDigit) && take(end);
    return isLink ? static_cast<std::size_t>(at - html.data()) : 0;
}

/// Whether a text shows a character as it is: it is no control, and does not turn the text round.
bool isShown(char32_t point)
{
    return point >= 0x20 && !(point >= 0x7F && point < 0xA0) &&
           !(point >= 0x202A && point <= 0x202E) && !(point >= 0x2066 && point <= 0x2069);
}

void append(std::wstring& text, std::string_view ascii)
{
    text.append(ascii.begin(), ascii.end());
}

} // namespace

std::size_t harmlessTag(std::string_view html, std::string_view& name)
{
    const auto tag = std::find_if(std::begin(tags), std::end(tags),
                                  [&](const Tag& each) { return html.starts_with(each.tag); });
    if (tag != std::end(tags)) {
        name = tag->name;
        return tag->tag.size();
    }
    name = "a";
    return codeLink(html);
}

std::size_t entityLength(std::string_view html)
{
    constexpr std::size_t longest = 10;
    const std::size_t end = html.substr(0, longest).find(';');
    if (!html.starts_with('&') || end == html.npos || end < 2)
        return 0;
    const std::string_view name = html.substr(1, end - 1);
    if (name.starts_with('#')) {
        std::uint32_t point = 0;
        const char* const last = name.data() + name.size();
        const auto [numberEnd, error] = std::from_chars(name.data() + 1, last, point);
        const bool isNumber = error == std::errc() && numberEnd == last;
        return isNumber && isShown(point) ? end + 1 : 0;
    }
    return std::all_of(name.begin(), name.end(), isLetter) ? end + 1 : 0;
}

std::string identitySource(std::string_view source)
{
    const QByteArray bytes(source.data(), static_cast<qsizetype>(source.size()));
    std::string word = bytes.toPercentEncoding("/").toStdString();
    if (word.size() <= sourceMax)
        return word;
    const QByteArray digest = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
    word.resize(sourceMax - static_cast<std::size_t>(digest.size()));
    return word + digest.toStdString();
}

bool isOfProcess(std::string_view identity, std::string_view process)
{
    const std::string_view source = identity.substr(0, identity.find('#'));
    return source.size() >= sourceMax || source.ends_with('/' + identitySource(process));
}

std::span<const EntryPart> EntryText::compose(const Report& report)
{
    composeOrigin(report);
    m_room = entryMax - m_identity.size() - m_origin.size() - wrapQty;
    m_partsQty = 0;
    m_leftOut = 0;
    beginPart();
    putReport(report);
    closeElements();
    finish(report);
    return {m_parts.data(), m_partsQty};
}

void EntryText::beginPart()
{
    if (m_parts.size() == m_partsQty)
        m_parts.emplace_back();
    m_parts[m_partsQty++].text.clear();
    m_open.clear();
    m_closing = 0;
}

/// What distinguishes the report from all others, and where it came from, for people.
void EntryText::composeOrigin(const Report& report)
{
    m_identity = identitySource(report.source);
    m_identity += '#';
    m_identity += std::to_string(report.sequence);
    m_origin.clear();
    if (report.kind == Report::Kind::PassedOver) {
        m_identity += '!';
        m_identity += identitySource(report.place);
    } else if (report.kind == Report::Kind::Missing) {
        m_identity += '-';
        m_identity += std::to_string(report.last);
    }
    // Put together in the place of a part, where escaping is. What has no room goes to further
    // ones, and is left out.
    m_partsQty = 0;
    m_room = originMax;
    beginPart();
    if (report.line) {
        const SpoolLine& line = *report.line;
        char time[zmu_spool::timeQty];
        putPlain({time, static_cast<std::size_t>(zmu_spool::putTime(time, line.time) - time)});
        put(L" ");
        putPlain(report.owner.substr(0, nameMax));
        if (!report.owner.empty())
            put(L"@");
        putPlain(std::string_view(line.host).substr(0, nameMax));
        put(L" ");
        putPlain(std::string_view(line.program).substr(0, nameMax));
        putPlain('[' + std::to_string(line.process) + ']');
        if (line.situation < 1 || line.situation > INT_MAX)
            putPlain(" situation " + std::to_string(line.situation));
    } else {
        // With a name in the place of the number.
        const std::size_t number = report.owner.empty() ? 0 : report.source.find('/');
        putPlain(report.owner.substr(0, nameMax));
        putPlain(report.source.substr(std::min(number, report.source.size()), 2 * nameMax));
    }
    m_origin = m_parts.front().text;
}

void EntryText::putReport(const Report& report)
{
    switch (report.kind) {
    case Report::Kind::Situation:
        putHtml(report.line->description);
        return;
    case Report::Kind::Missing:
        put(L"<b class=\"warning\">warning</b> ");
        if (report.sequence == report.last)
            putPlain("Situation " + std::to_string(report.sequence) + " of this process is");
        else
            putPlain("Situations " + std::to_string(report.sequence) + " to " +
                     std::to_string(report.last) + " of this process are");
        putPlain(report.mayHaveBeenRead ? " not here: collected at an earlier time, or lost."
                                        : " missing: refused, as the host was told, or lost.");
        return;
    case Report::Kind::PassedOver:
        put(L"<b class=\"warning\">warning</b> Left out: ");
        putPlain(report.place);
        put(L": ");
        putPlain(report.what);
        if (report.sample.empty())
            return;
        put(L". It begins with ");
        putTag("<code>", "code");
        putPlain(report.sample.substr(0, sampleMax));
        putTag("</code>", "code");
    }
}

/// Appends what must not be cut. False, with a new part begun if there may be one more, where it
/// has no room.
bool EntryText::put(std::wstring_view token)
{
    std::wstring* text = &m_parts[m_partsQty - 1].text;
    if (text->size() + token.size() + m_closing > m_room) {
        if (m_partsQty == partsMax)
            return false;
        closeElements();
        beginPart();
        text = &m_parts[m_partsQty - 1].text;
    }
    text->append(token);
    return true;
}

bool EntryText::putCharacter(char32_t point)
{
    constexpr char32_t firstBeyondAscii = 0x80; // entities are for less
    if (point < firstBeyondAscii) {
        const std::wstring_view entity = zmu::entityOf(static_cast<wchar_t>(point));
        if (!entity.empty())
            return put(entity);
    }
    if (point == '\n')
        return put(L"<br>");
    if (point == '\t')
        return put(L" ");
    if (!isShown(point)) {
        wchar_t escape[8];
        const int length =
            std::swprintf(escape, std::size(escape), point < 0x100 ? L"\\x%02x" : L"\\u%04x",
                          static_cast<unsigned>(point));
        return put({escape, static_cast<std::size_t>(std::max(length, 0))});
    }
    wchar_t units[2] = {static_cast<wchar_t>(point)};
    const bool isPair = sizeof(wchar_t) == 2 && point > 0xFFFF;
    if (isPair) {
        units[0] = static_cast<wchar_t>(0xD7C0 + (point >> 10));
        units[1] = static_cast<wchar_t>(0xDC00 + (point & 0x3FF));
    }
    return put({units, isPair ? 2U : 1U});
}

/// Any bytes, shown as they are.
bool EntryText::putPlain(std::string_view text)
{
    const char* at = text.data();
    for (const char* const end = at + text.size(); at != end;) {
        if (!putCharacter(zmu::takeUtf8(at, end)))
            return false;
    }
    return true;
}

/// A description. What is markup in it and harmless stays so.
void EntryText::putHtml(std::string_view text)
{
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at != end) {
        const std::string_view rest(at, static_cast<std::size_t>(end - at));
        bool isPut = false;
        std::string_view name;
        std::size_t length = 0;
        if (*at == '<' && (length = harmlessTag(rest, name)) != 0) {
            isPut = putTag(rest.substr(0, length), name);
        } else if (*at == '&' && (length = entityLength(rest)) != 0) {
            isPut = put(std::wstring(at, at + length));
        } else if (*at == '\r' && rest.starts_with("\r\n")) {
            length = 1;
            isPut = true;
        } else {
            const char* behind = at;
            isPut = putCharacter(zmu::takeUtf8(behind, end));
            length = static_cast<std::size_t>(behind - at);
        }
        if (!isPut) {
            m_leftOut = rest.size();
            return;
        }
        at += length;
    }
}

/// A tag, so that what is open in a part is closed in it, innermost first. One that would close
/// something else is shown as text.
bool EntryText::putTag(std::string_view tag, std::string_view name)
{
    constexpr std::size_t openMax = 8;
    const bool isClosing = tag[1] == '/';
    const bool isLone = name == "br";
    if (isClosing ? m_open.empty() || m_open.back() != name : !isLone && m_open.size() == openMax)
        return putPlain(tag);
    const std::size_t closing = name.size() + 3;
    if (isClosing) { // for which there is room already
        append(m_parts[m_partsQty - 1].text, tag);
        m_open.pop_back();
        m_closing -= closing;
        return true;
    }
    std::wstring wide;
    append(wide, tag);
    if (isLone)
        return put(wide);
    m_closing += closing; // to be found room for
    const std::size_t part = m_partsQty;
    const bool isPut = put(wide);
    if (part != m_partsQty)
        m_closing += closing; // a new part began with none
    else if (!isPut)
        m_closing -= closing;
    if (isPut)
        m_open.emplace_back(name);
    return isPut;
}

void EntryText::closeElements()
{
    std::wstring& text = m_parts[m_partsQty - 1].text;
    for (; !m_open.empty(); m_open.pop_back()) {
        append(text, "</");
        append(text, m_open.back());
        append(text, ">");
    }
    m_closing = 0;
}

/// Puts identity and origin behind each part.
void EntryText::finish(const Report& report)
{
    for (std::size_t i = 0; i < m_partsQty; ++i) {
        EntryPart& part = m_parts[i];
        part.identity = m_identity;
        std::string note;
        if (i != 0)
            part.identity += '.' + std::to_string(i + 1);
        if (m_partsQty > 1)
            note = ", part " + std::to_string(i + 1) + " of " + std::to_string(m_partsQty);
        if (m_leftOut != 0 && i + 1 == m_partsQty)
            note += ", and " + std::to_string(m_leftOut) + " bytes of " +
                    std::to_string(report.line->description.size()) + " are left out";
        append(part.text, " <i data-zmu=\"");
        append(part.text, part.identity);
        append(part.text, "\">");
        part.text += m_origin;
        append(part.text, note);
        append(part.text, "</i>");
    }
}

} // namespace zmu_collect
