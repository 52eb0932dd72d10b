// The page of explanations: static, without a script, and closed to whatever a text brings along.
#include "Writers.h"

#include <QString>

#include <algorithm>
#include <utility>

namespace zmu_tools {

namespace {

std::string escaped(std::string_view text)
{
    return QString::fromUtf8(text.data(), qsizetype(text.size())).toHtmlEscaped().toStdString();
}

/// Takes HTML apart. What begins like a tag is one up to its end, which is none within quotes.
class MarkupReader {
  public:
    /// The next stretch of `html`, with whether it is markup. A tag may go on in the next piece.
    std::string_view take(std::string_view& html, bool& isMarkup)
    {
        std::size_t length = 0;
        isMarkup = m_isInside || isTag(html);
        m_isInside = isMarkup;
        while (length < html.size() && m_isInside == isMarkup) {
            if (isMarkup)
                pass(html[length]);
            ++length;
            if (!isMarkup && isTag(html.substr(length)))
                break;
        }
        const std::string_view taken = html.substr(0, length);
        html.remove_prefix(length);
        return taken;
    }
    bool isInside() const { return m_isInside; }

  private:
    static bool isTag(std::string_view html)
    {
        return html.size() > 1 && html[0] == '<' &&
               (html[1] == '/' || html[1] == '!' || (html[1] >= 'a' && html[1] <= 'z') ||
                (html[1] >= 'A' && html[1] <= 'Z'));
    }
    void pass(char c)
    {
        if (m_quote != 0)
            m_quote = c == m_quote ? '\0' : m_quote;
        else if ((c == '"' || c == '\'') && m_last == '=')
            m_quote = c;
        else if (c == '>')
            m_isInside = false;
        if (c != ' ')
            m_last = c;
    }

    bool m_isInside = false;
    char m_quote = '\0';
    char m_last = '\0'; ///< Before blanks.
};

/// What a reader of the log sees, without its markup, and with the names of the arguments.
std::string summary(const Texts& texts)
{
    const bool isHtml = !texts.log.isEmpty();
    std::string html;
    MarkupReader reader;
    for (const Piece& piece : (isHtml ? texts.log : texts.display).pieces) {
        if (piece.isInsert) {
            html += reader.isInside() ? "" : "<i>" + escaped(piece.text) + "</i>";
            continue;
        }
        for (std::string_view rest = piece.text; !rest.empty();) {
            bool isMarkup = false;
            const std::string_view taken =
                isHtml ? reader.take(rest, isMarkup) : std::exchange(rest, {});
            if (isMarkup)
                html += taken.starts_with("<br") ? " " : "";
            else if (isHtml) // its entities are entities
                html += QString::fromStdString(escaped(taken)).replace("&amp;", "&").toStdString();
            else
                html += escaped(taken);
        }
    }
    return html;
}

/// Prose with its empty lines as ends of paragraphs.
std::string paragraphs(const std::string& text)
{
    std::string html = "<p>";
    const std::string safe = escaped(text.substr(0, text.find_last_not_of(" \n") + 1));
    for (std::size_t i = 0; i < safe.size(); ++i) {
        if (safe.compare(i, 2, "\n\n") == 0) {
            html += "</p>\n<p>";
            ++i;
        } else {
            html += safe[i];
        }
    }
    return html + "</p>\n";
}

} // namespace

std::string pageText(const Catalog& catalog, std::size_t language)
{
    const std::string name = escaped(catalog.name);
    std::string html =
        "<!DOCTYPE html>\n<html lang=\"" + catalog.languages[language].tag +
        "\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
        "'unsafe-inline'\">\n<meta name=\"viewport\" content=\"width=device-width\">\n<title>" +
        name +
        "</title>\n<style>\n"
        ":root { color-scheme: light dark; font: 16px/1.5 sans-serif; }\n"
        "body { max-width: 46em; margin: 2em auto; padding: 0 1em; }\n"
        "article { border-top: 1px solid #8888; padding: .5em 1em; }\n"
        "article:target { outline: 2px solid; }\n"
        "h2 { font-size: 1em; }\n"
        ".action { border-left: 4px solid #2a7; padding-left: 1em; }\n"
        "p { white-space: pre-line; }\n"
        "</style>\n</head>\n<body>\n<h1>" +
        name + "</h1>\n";
    std::vector<const Situation*> situations;
    for (const Situation& situation : catalog.situations)
        situations.push_back(&situation);
    std::ranges::sort(situations, {}, &Situation::id);
    for (const Situation* const situation : situations) {
        const Texts& texts = situation->texts[language];
        html += "<article id=\"" + std::to_string(situation->id) + "\">\n<h2>" +
                std::to_string(situation->id) + " " + escaped(situation->name) + "</h2>\n<p>" +
                summary(texts) + "</p>\n";
        if (!texts.explanation.empty())
            html += paragraphs(texts.explanation);
        if (!texts.action.empty())
            html += "<div class=\"action\">" + paragraphs(texts.action) + "</div>\n";
        html += "</article>\n";
    }
    return html + "</body>\n</html>\n";
}

} // namespace zmu_tools
