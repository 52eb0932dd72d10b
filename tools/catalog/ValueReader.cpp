#define TOML_IMPLEMENTATION // of which the header has declarations alone
#include "ValueReader.h"

#include <QByteArrayView>

#include <algorithm>
#include <set>

namespace zmu_tools {

namespace {

constexpr std::size_t keyPartsMax = 16;

/// Where the string that begins at `begin` ends: behind its quotes, or at the end of a line that
/// lacks them.
std::size_t endOfString(std::string_view toml, std::size_t begin)
{
    const char quote = toml[begin];
    const std::string quotes(3, quote);
    const bool isMultiLine = toml.substr(begin, 3) == quotes;
    for (std::size_t i = begin + (isMultiLine ? 3 : 1); i < toml.size(); ++i) {
        if (quote == '"' && toml[i] == '\\') {
            ++i;
        } else if (isMultiLine && toml.substr(i, 3) == quotes) {
            const std::size_t end = toml.find_first_not_of(quote, i);
            return std::min({end, i + 5, toml.size()}); // two quotes more are the string's own
        } else if (!isMultiLine && (toml[i] == quote || toml[i] == '\n')) {
            return toml[i] == quote ? i + 1 : i;
        }
    }
    return toml.size();
}

/// The first dot that makes a key too long; the end if none does. Each part of a key is a table
/// within a table to the parser, which would use up the stack.
std::size_t endlessKey(std::string_view toml)
{
    std::size_t parts = 1;
    for (std::size_t i = 0; i < toml.size();) {
        const char c = toml[i];
        if (c == '"' || c == '\'') {
            i = endOfString(toml, i);
            continue;
        }
        if (c == '#') {
            i = std::min(toml.find('\n', i), toml.size());
            continue;
        }
        if (c == '.' && ++parts > keyPartsMax)
            return i;
        if (std::string_view("=,[]{}\n").find(c) != std::string_view::npos)
            parts = 1;
        ++i;
    }
    return toml.size();
}

bool hasWords(const Message& message)
{
    return std::ranges::any_of(message.pieces, [](const Piece& piece) {
        return piece.isInsert || piece.text.find_first_not_of(" \t\n") != std::string::npos;
    });
}

} // namespace

Place placeOf(const toml::source_region& region)
{
    return {std::max<unsigned>(region.begin.line, 1), std::max<unsigned>(region.begin.column, 1)};
}

Place placeOf(const toml::node& node)
{
    return placeOf(node.source());
}

Place placeOf(const toml::key& key)
{
    return placeOf(key.source());
}

std::optional<toml::table> ValueReader::parse()
{
    const std::string_view text = m_source.text();
    if (!QByteArrayView(text.data(), qsizetype(text.size())).isValidUtf8()) {
        error({}, "the file is not UTF-8: save it as that");
        return std::nullopt;
    }
    if (const std::size_t dot = endlessKey(text); dot < text.size()) {
        error(m_source.placeAt(dot), "this key has more than " + std::to_string(keyPartsMax) +
                                         " parts, and none of a catalogue has more than four");
        return std::nullopt;
    }
    try {
        return toml::parse(text, m_path);
    } catch (const toml::parse_error& mistake) {
        error(placeOf(mistake.source()), std::string(mistake.description()));
        return std::nullopt;
    }
}

std::string ValueReader::hintOrAll(std::string_view name, const std::vector<std::string>& names,
                                   const std::string& allOf) const
{
    const std::string nearest = hint(name, names);
    return nearest.empty() ? allOf + listed(names) : nearest;
}

void ValueReader::checkKeys(const toml::table& table, const std::vector<std::string>& known,
                            const std::string& where)
{
    for (auto&& [key, node] : table)
        if (std::ranges::find(known, key.str()) == known.end())
            error(placeOf(key), "'" + std::string(key.str()) + "' is no key of " + where +
                                    hintOrAll(key.str(), known, "; it has "));
}

void ValueReader::checkNames(const toml::table& table, const std::vector<std::string>& known,
                             const std::string& kind, const std::string& catalog)
{
    const std::set<std::string_view> names(known.begin(), known.end());
    const std::string none = "'" + catalog + "' has no " + kind + " '";
    for (auto&& [key, node] : table) {
        if (!names.contains(key.str()))
            error(placeOf(key),
                  std::string(none).append(key.str()).append("'").append(hint(key.str(), known)));
    }
}

void ValueReader::typeError(const toml::node& node, const std::string& key,
                            const std::string& wanted)
{
    error(placeOf(node), "'" + key + "' must be " + wanted);
}

const toml::table* ValueReader::tableOf(const toml::table& parent, const std::string& key,
                                        const std::string& wanted)
{
    const toml::node* const node = parent.get(key);
    if (node && !node->is_table())
        typeError(*node, key, wanted);
    return node ? node->as_table() : nullptr;
}

std::optional<LocatedText> ValueReader::locatedText(const toml::node& node, const std::string& key,
                                                    const std::string& wanted)
{
    if (const auto* const text = node.as_string())
        return m_source.locate(text->get(), placeOf(node));
    typeError(node, key, wanted);
    return std::nullopt;
}

std::optional<LocatedText> ValueReader::textOf(const toml::table& table, const std::string& key,
                                               const std::string& wanted)
{
    const toml::node* const node = table.get(key);
    return node ? locatedText(*node, key, wanted) : std::nullopt;
}

std::optional<zmu::i64> ValueReader::numberOf(const toml::node& node, const std::string& key,
                                              const std::string& wanted, zmu::i64 least,
                                              zmu::i64 most)
{
    if (const auto* const number = node.as_integer();
        number && number->get() >= least && number->get() <= most)
        return number->get();
    typeError(node, key, wanted);
    return std::nullopt;
}

Message ValueReader::messageOf(const LocatedText& text, Target target, const Situation& situation)
{
    const std::size_t errorsBefore = m_findings.errorCount();
    Message message = parseMessage(text, target, m_findings);
    if (!hasWords(message) && m_findings.errorCount() == errorsBefore)
        error(message.place, "the text is empty: write one, or leave the key out");
    const std::vector<std::string> names = namesOf(situation.arguments);
    for (Piece& piece : message.pieces)
        if (piece.isInsert)
            resolve(piece, situation.arguments, names);
    return message;
}

std::string ValueReader::proseOf(const toml::table& table, const std::string& key)
{
    const auto text = textOf(table, key, "a text");
    return text ? text->text : "";
}

Affixes ValueReader::readAffixes(const toml::table& root)
{
    const std::string wanted =
        "a text, or two: note = { log = '<b class=\"note\">note</b> ', display = \"note: \" }";
    Affixes affixes;
    const toml::table* const table = tableOf(root, "affixes", "a table of texts by name");
    if (!table)
        return affixes;
    for (auto&& [key, node] : *table) {
        const std::string name(key.str());
        Affix affix;
        if (const toml::table* const both = node.as_table()) {
            checkKeys(*both, {"log", "display"}, "an affix");
            if (const auto text = textOf(*both, "log", "a text"))
                affix.log = affixText(*text, Target::Log);
            if (const auto text = textOf(*both, "display", "a text"))
                affix.display = affixText(*text, Target::Display);
        } else if (const auto text = locatedText(node, name, wanted)) {
            affix.log = affixText(*text, Target::Log);
            affix.display = affix.log;
        }
        affixes.emplace(name, std::move(affix));
    }
    return affixes;
}

std::string ValueReader::withoutMark(const std::string& text)
{
    return text.starts_with("\xef\xbb\xbf") ? text.substr(3) : text;
}

void ValueReader::resolve(Piece& insert, const std::vector<Argument>& arguments,
                          const std::vector<std::string>& names)
{
    const auto found = std::ranges::find(names, insert.text);
    if (found == names.end()) {
        error(insert.place, "no argument is called '" + insert.text + "'" +
                                (names.empty() ? ": this situation has none"
                                               : hintOrAll(insert.text, names, ": there are ")));
        return;
    }
    insert.argument = int(found - names.begin());
    const Argument& argument = arguments[std::size_t(insert.argument)];
    std::string mistake;
    insert.asked = parseFormat(insert.format, argument.kind, mistake);
    if (!mistake.empty() && argument.isKindKnown)
        error(insert.formatPlace, mistake);
}

Message ValueReader::affixText(const LocatedText& text, Target target)
{
    Message message = parseMessage(text, target, m_findings);
    for (const Piece& piece : message.pieces)
        if (piece.isInsert)
            error(piece.place, "an affix has no arguments: write {{ and }} for braces");
    std::erase_if(message.pieces, &Piece::isInsert);
    return message;
}

} // namespace zmu_tools
