#include "Message.h"

#include <cstdio>

namespace zmu_tools {

namespace {

class Parser {
  public:
    Parser(const LocatedText& text, Target target, Findings& findings)
        : m_text(text), m_target(target), m_findings(findings), m_message{{}, text.begin}
    {}

    Message parse()
    {
        std::size_t end = m_text.text.size();
        while (end > 0 && m_text.text[end - 1] == '\n') // that of the last line of a longer text
            --end;
        while (m_at < end)
            parseNext(end);
        flush();
        return std::move(m_message);
    }

  private:
    void parseNext(std::size_t end)
    {
        const char c = m_text.text[m_at];
        if ((c == '{' || c == '}') && m_at + 1 < end && m_text.text[m_at + 1] == c) {
            add(c);
            m_at += 2;
        } else if (c == '{') {
            parseInsert(end);
        } else {
            if (c == '}')
                error(m_at, "a } closes no insert: write }} for the character");
            else
                addPlain(c);
            ++m_at;
        }
    }

    void parseInsert(std::size_t end)
    {
        const std::size_t open = m_at;
        const std::size_t close = m_text.text.find_first_of("{}\n", open + 1);
        if (close >= end || m_text.text[close] != '}') {
            error(open, "the insert that begins here is not closed: write {name}, or {{ for the "
                        "character");
            m_at = close < end ? close : end;
            return;
        }
        flush();
        const std::string inside = m_text.text.substr(open + 1, close - open - 1);
        const std::size_t colon = inside.find(':');
        Piece insert{inside.substr(0, colon), true, "", m_text.place(open + 1), {}};
        if (colon != std::string::npos) {
            insert.format = inside.substr(colon + 1);
            insert.formatPlace = m_text.place(open + 1 + colon + 1);
            if (insert.format.empty())
                error(open + 1 + colon, "no format stands behind this colon: leave it out");
        }
        m_message.pieces.push_back(std::move(insert));
        m_at = close + 1;
    }

    void addPlain(char c)
    {
        if (c == '|' || c == '~' || c == '`') {
            const std::string entity = "&#" + std::to_string(int(c)) + ";";
            error(m_at, std::string("the character ") + c +
                            " separates the parts of a response spec and cannot be in a text: " +
                            (m_target == Target::Log ? "write " + entity
                                                     : "the display needs another one"));
        } else if (c == '\n') {
            add(m_target == Target::Log ? ' ' : '\n');
        } else if (c == '\r') {
            if (m_text.text[m_at + 1] != '\n')
                add(' ');
        } else if ((static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f) {
            char code[8];
            std::snprintf(code, sizeof code, "%02x", c);
            error(m_at, std::string("the control character ") + code + " cannot be in a text");
        } else {
            add(c);
        }
    }

    void add(char c)
    {
        if (m_plain.empty())
            m_plainPlace = m_text.place(m_at);
        m_plain += c;
    }

    void flush()
    {
        if (!m_plain.empty())
            m_message.pieces.push_back({std::move(m_plain), false, "", m_plainPlace, {}});
        m_plain.clear();
    }

    void error(std::size_t offset, std::string text)
    {
        m_findings.error(m_text.place(offset), std::move(text));
    }

    const LocatedText& m_text;
    Target m_target;
    Findings& m_findings;
    Message m_message;
    std::size_t m_at = 0;
    std::string m_plain;
    Place m_plainPlace;
};

} // namespace

Message parseMessage(const LocatedText& text, Target target, Findings& findings)
{
    return Parser(text, target, findings).parse();
}

Message surrounded(const Message* prefix, Message text, const Message* suffix)
{
    if (prefix)
        text.pieces.insert(text.pieces.begin(), prefix->pieces.begin(), prefix->pieces.end());
    if (suffix)
        text.pieces.insert(text.pieces.end(), suffix->pieces.begin(), suffix->pieces.end());
    return text;
}

std::set<int> shownIn(const Message& message)
{
    std::set<int> shown;
    for (const Piece& piece : message.pieces)
        if (piece.argument >= 0)
            shown.insert(piece.argument);
    return shown;
}

std::size_t wideLength(std::string_view text)
{
    std::size_t length = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        length += (byte & 0xc0) != 0x80;
        length += byte >= 0xf0;
    }
    return length;
}

} // namespace zmu_tools
