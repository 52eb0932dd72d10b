// The page of explanations: static, without a script, and closed to whatever a text brings along.
#include "Writers.h"

#include <algorithm>

namespace zmu_tools {

namespace {

std::string escaped(std::string_view text)
{
    std::string html;
    for (const char c : text) {
        switch (c) {
        case '<':
            html += "&lt;";
            break;
        case '>':
            html += "&gt;";
            break;
        case '&':
            html += "&amp;";
            break;
        case '"':
            html += "&quot;";
            break;
        default:
            html += c;
        }
    }
    return html;
}

/// What a reader of the log sees, without its markup, and with the names of the arguments.
std::string summary(const Texts& texts)
{
    std::string html;
    bool isMarkup = false;
    for (const Piece& piece : (texts.log.isEmpty() ? texts.display : texts.log).pieces) {
        if (piece.isInsert) {
            html += isMarkup ? "" : "<i>" + escaped(piece.text) + "</i>";
            continue;
        }
        for (std::size_t i = 0; i < piece.text.size(); ++i) {
            const char c = piece.text[i];
            if (!isMarkup && piece.text.compare(i, 3, "<br") == 0)
                html += ' ';
            const bool isEnd = isMarkup && c == '>';
            isMarkup = (isMarkup || (c == '<' && !texts.log.isEmpty())) && !isEnd;
            if (!isMarkup && !isEnd)
                html += c == '&' && !texts.log.isEmpty() ? "&" : escaped({&c, 1});
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
