// From TOML to the model. Every mistake is told; what is wrong is left out, and reading goes on.
#include "Catalog.h"

#include <QString>
#include <QStringList>

// Its assertions are for its authors: the parser itself answers for what they would stop.
#pragma push_macro("NDEBUG")
#undef NDEBUG
#define TOML_ASSERT(expr) static_assert(true)
#include <toml++/toml.h>
#pragma pop_macro("NDEBUG")

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string_view>

namespace zmu_tools {

namespace {

using namespace std::string_literals;

constexpr int idMax = 65535; // a string table of Windows has no others
constexpr int plugInRowMax = 98;
constexpr int roomUsual = 800;
constexpr int roomMin = 100;
constexpr int descriptionMax = 1023;
constexpr int longestTold = 1000;

// ---- Places and names --------------------------------------------------------------------------------

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

/// "'a', 'b' and 'c'"
std::string listed(const std::vector<std::string>& names)
{
    std::string list;
    for (std::size_t i = 0; i < names.size(); ++i)
        list += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + ("'" + names[i] + "'");
    return list;
}

template <class Named>
std::vector<std::string> namesOf(const std::vector<Named>& all)
{
    std::vector<std::string> names;
    std::ranges::transform(all, std::back_inserter(names), &Named::name);
    return names;
}

bool isUpper(char c)
{
    return c >= 'A' && c <= 'Z';
}

bool isIdentifier(std::string_view name)
{
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || isUpper(c); };
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return !name.empty() && isLetter(name.front()) && name.back() != '_' &&
           name.find("__") == std::string_view::npos &&
           std::ranges::all_of(name, [&](char c) { return isLetter(c) || isDigit(c) || c == '_'; });
}

bool isReserved(std::string_view name)
{
    static const std::set<std::string_view> words = {
        "alignas", "alignof", "and", "and_eq", "asm", "auto", "bitand", "bitor", "bool", "break",
        "case", "catch", "char", "char8_t", "char16_t", "char32_t", "class", "compl", "concept",
        "const", "consteval", "constexpr", "constinit", "const_cast", "continue", "co_await",
        "co_return", "co_yield", "decltype", "default", "delete", "do", "double", "dynamic_cast",
        "else", "enum", "explicit", "export", "extern", "false", "float", "for", "friend", "goto",
        "if", "inline", "int", "long", "mutable", "namespace", "new", "noexcept", "not", "not_eq",
        "nullptr", "operator", "or", "or_eq", "private", "protected", "public", "register",
        "reinterpret_cast", "requires", "return", "short", "signed", "sizeof", "static",
        "static_assert", "static_cast", "struct", "switch", "template", "this", "thread_local",
        "throw", "true", "try", "typedef", "typeid", "typename", "union", "unsigned", "using",
        "virtual", "void", "volatile", "wchar_t", "while", "xor", "xor_eq",
        // what the header and its platforms use
        "id", "load", "setUp", "monitor", "report", "errno", "linux", "unix", "near", "far",
        "small", "interface", "assert", "stdin", "stdout", "stderr", "main"};
    return words.contains(name);
}

/// The part of a path behind the last separator.
std::string fileNameOf(const std::string& path)
{
    return path.substr(path.find_last_of("/\\") + 1);
}

std::string withoutSuffix(std::string name)
{
    constexpr std::string_view suffix = ".toml";
    if (name.ends_with(suffix))
        name.resize(name.size() - suffix.size());
    return name;
}

bool isLanguage(std::string_view tag)
{
    std::size_t length = 0;
    bool isFirst = true;
    for (const char c : tag) {
        const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (c == '-' && length >= 2) {
            isFirst = false;
            length = 0;
        } else if ((isLetter || (!isFirst && c >= '0' && c <= '9')) && length < 8) {
            ++length;
        } else {
            return false;
        }
    }
    return length >= 2 && (!isFirst || length <= 3);
}

/// The text that one affix puts before or behind.
struct Affix {
    std::string name;
    Message display;
    Message log;
};

/// The level fields, by the log output level of the product that opens them.
zmu::i64 traitsOfLevel(zmu::i64 level)
{
    constexpr std::array<int, 5> shifts = {29, 33, 49, 25, 45};
    return zmu::i64(1) << shifts[std::size_t(level - 1)];
}

// ---- Values --------------------------------------------------------------------------------------------

/// What all files have in common: the values of TOML with what is wrong with them.
class ValueReader {
  public:
    ValueReader(const CatalogFile& file, Findings& findings)
        : m_findings(findings), m_source(withoutMark(file.content)), m_path(file.path)
    {
        findings.enter(file.path);
    }

  protected:
    /// The whole file; nothing if it is no TOML.
    std::optional<toml::table> parse()
    {
        const std::string_view text = m_source.text();
        if (!QString::fromUtf8(text.data(), qsizetype(text.size()))
                 .toUtf8()
                 .startsWith(QByteArray::fromRawData(text.data(), qsizetype(text.size())))) {
            error({}, "the file is not UTF-8: save it as that");
            return std::nullopt;
        }
        try {
            return toml::parse(text, m_path);
        } catch (const toml::parse_error& mistake) {
            error(placeOf(mistake.source()), std::string(mistake.description()));
            return std::nullopt;
        }
    }

    void error(Place place, std::string text) { m_findings.error(place, std::move(text)); }
    void warn(Place place, std::string text) { m_findings.warn(place, std::move(text)); }

    /// Tells each key of `table` that is none of `known`; `where` is for instance "a situation".
    void checkKeys(const toml::table& table, const std::vector<std::string>& known,
                   const std::string& where)
    {
        for (auto&& [key, node] : table)
            if (std::ranges::find(known, key.str()) == known.end())
                error(placeOf(key),
                      "'" + std::string(key.str()) + "' is no key of " + where +
                          (didYouMean(key.str(), known).empty() ? "; it has " + listed(known)
                                                                : didYouMean(key.str(), known)));
    }

    /// Tells each name in `table` that the first language does not have.
    void checkNames(const toml::table& table, const std::vector<std::string>& known,
                    const std::string& kind, const std::string& catalog)
    {
        const std::string none = "'" + catalog + "' has no " + kind + " '";
        for (auto&& [key, node] : table) {
            if (std::ranges::find(known, key.str()) == known.end())
                error(placeOf(key), std::string(none).append(key.str()).append("'").append(
                                        didYouMean(key.str(), known)));
        }
    }

    void typeError(const toml::node& node, const std::string& key, const std::string& wanted)
    {
        error(placeOf(node), "'" + key + "' must be " + wanted);
    }

    /// The value of `key` if it is there and a table.
    const toml::table* tableOf(const toml::table& parent, const std::string& key,
                               const std::string& wanted)
    {
        const toml::node* const node = parent.get(key);
        if (node && !node->is_table())
            typeError(*node, key, wanted);
        return node ? node->as_table() : nullptr;
    }

    std::optional<LocatedText> locatedText(const toml::node& node, const std::string& key,
                                           const std::string& wanted)
    {
        if (const auto* const text = node.as_string())
            return m_source.locate(text->get(), placeOf(node));
        typeError(node, key, wanted);
        return std::nullopt;
    }

    std::optional<LocatedText> textOf(const toml::table& table, const std::string& key,
                                      const std::string& wanted)
    {
        const toml::node* const node = table.get(key);
        return node ? locatedText(*node, key, wanted) : std::nullopt;
    }

    std::optional<zmu::i64> numberOf(const toml::node& node, const std::string& key,
                                     const std::string& wanted, zmu::i64 least, zmu::i64 most)
    {
        if (const auto* const number = node.as_integer();
            number && number->get() >= least && number->get() <= most)
            return number->get();
        typeError(node, key, wanted);
        return std::nullopt;
    }

    /// A text without inserts that no response spec has to hold.
    std::string proseOf(const toml::table& table, const std::string& key)
    {
        const auto text = textOf(table, key, "a text");
        return text ? text->text : "";
    }

    std::vector<Affix> readAffixes(const toml::table& root)
    {
        const std::string wanted =
            "a text, or two: note = { log = '<b class=\"note\">note</b> ', display = \"note: \" }";
        std::vector<Affix> affixes;
        const toml::table* const table = tableOf(root, "affixes", "a table of texts by name");
        if (!table)
            return affixes;
        for (auto&& [key, node] : *table) {
            Affix affix{std::string(key.str()), {}, {}};
            if (const toml::table* const both = node.as_table()) {
                checkKeys(*both, {"log", "display"}, "an affix");
                if (const auto text = textOf(*both, "log", "a text"))
                    affix.log = affixText(*text, Target::Log);
                if (const auto text = textOf(*both, "display", "a text"))
                    affix.display = affixText(*text, Target::Display);
            } else if (const auto text = locatedText(node, affix.name, wanted)) {
                affix.log = affixText(*text, Target::Log);
                affix.display = affix.log;
            }
            affixes.push_back(std::move(affix));
        }
        return affixes;
    }

    Findings& m_findings;
    SourceFile m_source;
    std::string m_path;

  private:
    /// The text behind a byte-order mark, which some editors put in front.
    static std::string withoutMark(const std::string& text)
    {
        return text.starts_with("\xef\xbb\xbf") ? text.substr(3) : text;
    }

    Message affixText(const LocatedText& text, Target target)
    {
        Message message = parseMessage(text, target, m_findings);
        for (const Piece& piece : message.pieces)
            if (piece.isInsert)
                error(piece.place, "an affix has no arguments: write {{ and }} for braces");
        std::erase_if(message.pieces, &Piece::isInsert);
        return message;
    }
};

/// Puts the pieces of affixes around a text.
Message surrounded(const Message* prefix, Message text, const Message* suffix)
{
    if (prefix)
        text.pieces.insert(text.pieces.begin(), prefix->pieces.begin(), prefix->pieces.end());
    if (suffix)
        text.pieces.insert(text.pieces.end(), suffix->pieces.begin(), suffix->pieces.end());
    return text;
}

/// Finds the argument and reads the format of each insert.
void resolve(Message& message, const std::vector<Argument>& arguments, Findings& findings)
{
    const std::vector<std::string> names = namesOf(arguments);
    for (Piece& piece : message.pieces) {
        if (!piece.isInsert)
            continue;
        const auto found = std::ranges::find(names, piece.text);
        if (found == names.end()) {
            const std::string hint = didYouMean(piece.text, names);
            findings.error(piece.place, "no argument is called '" + piece.text + "'" +
                                            (!hint.empty()   ? hint
                                             : names.empty() ? ": this situation has none"
                                                             : ": there are " + listed(names)));
            continue;
        }
        piece.argument = int(found - names.begin());
        const Argument& argument = arguments[std::size_t(piece.argument)];
        std::string mistake;
        piece.asked = parseFormat(piece.format, argument.kind, mistake);
        if (!mistake.empty() && argument.isKindKnown)
            findings.error(piece.formatPlace, mistake);
    }
}

/// The arguments that a text shows.
std::set<int> shownIn(const Message& message)
{
    std::set<int> shown;
    for (const Piece& piece : message.pieces)
        if (piece.argument >= 0)
            shown.insert(piece.argument);
    return shown;
}

bool hasWords(const Message& message)
{
    return std::ranges::any_of(message.pieces, [](const Piece& piece) {
        return piece.isInsert || piece.text.find_first_not_of(" \t\n") != std::string::npos;
    });
}

/// The names of affixes that a situation has in front of its texts and behind them.
struct AffixNames {
    std::string prefix;
    std::string suffix;
};

// ---- The first language ----------------------------------------------------------------------------------

class CatalogReader : ValueReader {
  public:
    CatalogReader(const CatalogFile& file, Findings& findings) : ValueReader(file, findings)
    {
        m_catalog.name = withoutSuffix(fileNameOf(file.path));
        m_catalog.room = roomUsual;
        m_catalog.languages.push_back({"en", file.path});
    }

    Catalog read()
    {
        const std::optional<toml::table> root = parse();
        if (root) {
            checkKeys(*root, {"catalog", "affixes", "plugins", "situations"}, "a catalogue");
            readHead(*root);
            m_affixes = readAffixes(*root);
            readPlugIns(*root);
            readSituations(*root);
        }
        return std::move(m_catalog);
    }

    /// What a translation needs of the first language besides the catalogue.
    const std::vector<Affix>& affixes() const { return m_affixes; }
    const std::map<std::string, AffixNames>& affixNames() const { return m_affixNames; }

  private:
    void readHead(const toml::table& root)
    {
        const toml::table none;
        const toml::table* const head =
            tableOf(root, "catalog", "a table: [catalog] and below it ids = \"1000-1999\"");
        const toml::table& table = head ? *head : none;
        checkKeys(table, {"ids", "language", "namespace", "room"}, "[catalog]");
        m_catalog.nameSpace = m_catalog.name;
        if (const auto text =
                textOf(table, "namespace", "a text such as \"product::situations\"")) {
            m_catalog.nameSpace = text->text;
            if (!isNameSpace(text->text))
                error(text->begin, "'" + text->text +
                                       "' is no namespace of C++: write letters "
                                       "and digits, such as \"product::situations\"");
        } else if (!isNameSpace(m_catalog.name)) {
            error({}, "'" + m_catalog.name +
                          "', the file's name, is no namespace of C++: give it "
                          "another one, or write namespace = \"situations\" below [catalog]");
        }
        if (const auto text = textOf(table, "language", "a language such as \"en\"")) {
            m_catalog.languages[0].tag = text->text;
            if (!isLanguage(text->text))
                error(text->begin, "'" + text->text +
                                       "' is no language: write one such as \"en\" "
                                       "or \"pt-BR\"");
        }
        if (const toml::node* const room = table.get("room"))
            m_catalog.room =
                int(numberOf(*room, "room",
                             "a whole number from " + std::to_string(roomMin) + " to " +
                                 std::to_string(descriptionMax) +
                                 ": the characters that a form leaves for a description",
                             roomMin, descriptionMax)
                        .value_or(roomUsual));
        readRange(table);
    }

    static bool isNameSpace(const std::string& name)
    {
        for (std::size_t begin = 0; begin <= name.size();) {
            const std::size_t end = std::min(name.find("::", begin), name.size());
            const std::string part = name.substr(begin, end - begin);
            if (!isIdentifier(part) || isReserved(part) || part == "std" || part == "zmu")
                return false;
            begin = end + 2;
        }
        return !name.ends_with(':');
    }

    void readRange(const toml::table& head)
    {
        const auto text = textOf(head, "ids", "a range such as \"1000-1999\"");
        if (!text)
            return;
        const QStringList ends = QString::fromStdString(text->text).split('-');
        bool areNumbers[2] = {};
        const int first = ends.value(0).trimmed().toInt(&areNumbers[0]);
        const int last = ends.value(1).trimmed().toInt(&areNumbers[1]);
        if (ends.size() != 2 || !areNumbers[0] || !areNumbers[1] || first < 1 || last > idMax ||
            first > last) {
            error(text->begin, "'" + text->text +
                                   "' is no range of IDs: write one such as "
                                   "\"1000-1999\", within 1 to " +
                                   std::to_string(idMax));
            return;
        }
        m_idFirst = first;
        m_idLast = last;
    }

    void readPlugIns(const toml::table& root)
    {
        const toml::table* const table =
            tableOf(root, "plugins", "a table of rows by name: [plugins] and below it count = 0");
        if (!table)
            return;
        for (auto&& [key, node] : *table) {
            const std::string name(key.str());
            if (!isIdentifier(name) || isReserved(name)) {
                error(placeOf(key), "'" + name +
                                        "' cannot be the name of a plug-in: write letters "
                                        "and digits, as for a function of C++");
                continue;
            }
            const auto row = numberOf(node, name,
                                      "the plug-in's row in the table, a whole number from 0 to " +
                                          std::to_string(plugInRowMax),
                                      0, plugInRowMax);
            if (!row)
                continue;
            const auto same = std::ranges::find(m_catalog.plugIns, int(*row), &PlugIn::row);
            if (same != m_catalog.plugIns.end())
                error(placeOf(node),
                      "row " + std::to_string(*row) + " is taken by '" + same->name + "'");
            else
                m_catalog.plugIns.push_back({name, int(*row)});
        }
        std::ranges::sort(m_catalog.plugIns, {}, &PlugIn::row);
    }

    void readSituations(const toml::table& root)
    {
        const toml::table* const table =
            tableOf(root, "situations", "a table of situations: [situations.sessionStarted]");
        if (!table || table->empty()) {
            if (!root.get("situations") || table)
                error({}, "there is no situation: write [situations.sessionStarted], and below it "
                          "its id and its texts");
            return;
        }
        std::vector<std::pair<Place, const toml::key*>> order;
        for (auto&& [key, node] : *table)
            order.emplace_back(placeOf(key), &key);
        std::ranges::sort(order, {}, [](const auto& entry) { return entry.first; });
        for (const auto& [place, key] : order)
            readSituation(*key, *table->get(key->str()));
    }

    void readSituation(const toml::key& key, const toml::node& node)
    {
        const std::size_t errorsBefore = m_findings.errorCount();
        Situation situation;
        situation.name = key.str();
        situation.place = placeOf(key);
        const toml::table* const table = node.as_table();
        if (!table) {
            error(situation.place, "'" + situation.name + "' must be a table: [situations." +
                                       situation.name + "], and below it its id and its texts");
            return;
        }
        if (!isIdentifier(situation.name) || isReserved(situation.name) ||
            isUpper(situation.name[0]))
            error(
                situation.place,
                "'" + situation.name +
                    "' cannot be the name of a situation, which becomes a "
                    "function: write letters and digits, a small letter first, as sessionStarted");
        checkKeys(*table,
                  {"id", "arguments", "recorded", "level", "traits", "plugins", "prefix", "suffix",
                   "display", "log", "explanation", "action"},
                  "a situation");
        readId(*table, situation);
        if (const toml::node* const arguments = table->get("arguments"))
            readArguments(*arguments, situation);
        if (const toml::node* const recorded = table->get("recorded")) {
            if (const auto* const flag = recorded->as_boolean())
                situation.isRecorded = flag->get();
            else
                typeError(*recorded, "recorded", "true or false");
        }
        readTraits(*table, situation);
        if (const toml::node* const plugIns = table->get("plugins"))
            readPlugInsOf(*plugIns, situation);
        readTexts(*table, situation);
        situation.isSound = m_findings.errorCount() == errorsBefore;
        if (situation.isSound)
            warnOfHidden(situation);
        m_catalog.situations.push_back(std::move(situation));
    }

    void readId(const toml::table& table, Situation& situation)
    {
        const toml::node* const node = table.get("id");
        if (!node) {
            error(situation.place,
                  "'" + situation.name + "' has no id: write id = " + std::to_string(m_idFirst));
            return;
        }
        const auto id =
            numberOf(*node, "id", "a whole number from 1 to " + std::to_string(idMax), 1, idMax);
        if (!id)
            return;
        situation.id = int(*id);
        const std::string number = std::to_string(*id);
        if (situation.id < m_idFirst || situation.id > m_idLast)
            error(placeOf(*node), "ID " + number + " is outside the range of this catalogue, " +
                                      std::to_string(m_idFirst) + " to " +
                                      std::to_string(m_idLast));
        const auto same = std::ranges::find(m_catalog.situations, situation.id, &Situation::id);
        if (same != m_catalog.situations.end())
            error(placeOf(*node), "ID " + number + " is taken by '" + same->name + "' in line " +
                                      std::to_string(same->place.line) + ": the next free one is " +
                                      std::to_string(nextFreeId()));
    }

    int nextFreeId() const
    {
        int id = m_idFirst;
        for (const Situation& situation : m_catalog.situations)
            id = std::max(id, situation.id + 1);
        return id;
    }

    void readArguments(const toml::node& node, Situation& situation)
    {
        const std::string wanted =
            "a list of names with their kinds: [\"session: u32\", \"user: text\"]";
        const toml::array* const list = node.as_array();
        if (!list) {
            typeError(node, "arguments", wanted);
            return;
        }
        for (const toml::node& entry : *list)
            if (const auto text = locatedText(entry, "arguments", wanted))
                readArgument(*text, situation);
    }

    void readArgument(const LocatedText& declaration, Situation& situation)
    {
        const std::string& text = declaration.text;
        const auto trim = [&](std::size_t& begin, std::size_t& end) {
            while (begin < end && text[begin] == ' ')
                ++begin;
            while (end > begin && text[end - 1] == ' ')
                --end;
        };
        const std::size_t colon = text.find(':');
        if (colon == std::string::npos) {
            error(declaration.begin, "'" + text + "' has no kind: write \"" +
                                         (isIdentifier(text) ? text : "session") + ": u32\"");
            situation.arguments.push_back({text, Kind::Text, false, 0, declaration.begin});
            return;
        }
        std::size_t nameBegin = 0, nameEnd = colon, kindBegin = colon + 1, kindEnd = text.size();
        trim(nameBegin, nameEnd);
        trim(kindBegin, kindEnd);
        Argument argument{text.substr(nameBegin, nameEnd - nameBegin), Kind::Text, false, 0,
                          declaration.place(nameBegin)};
        if (!isIdentifier(argument.name) || isReserved(argument.name) || isUpper(argument.name[0]))
            error(argument.place, "'" + argument.name +
                                      "' cannot be the name of an argument: write "
                                      "letters and digits, a small letter first, as userName");
        if (std::ranges::find(situation.arguments, argument.name, &Argument::name) !=
            situation.arguments.end())
            error(argument.place, "there is an argument '" + argument.name + "' already");

        const std::size_t bracket = std::min(text.find('[', kindBegin), kindEnd);
        const std::string kind = text.substr(kindBegin, bracket - kindBegin);
        if (const auto known = kindOf(kind)) {
            argument.kind = *known;
            argument.isKindKnown = true;
            if (bracket < kindEnd)
                readLongest(declaration, bracket, kindEnd, argument);
        } else {
            const std::string hint = didYouMean(kind, kindNames());
            error(declaration.place(kindBegin),
                  "there is no kind '" + kind + "'" +
                      (hint.empty() ? ": there are " + listed(kindNames()) : hint));
        }
        situation.arguments.push_back(std::move(argument));
    }

    void readLongest(const LocatedText& declaration, std::size_t bracket, std::size_t end,
                     Argument& argument)
    {
        bool isNumber = false;
        const QString number =
            QString::fromStdString(declaration.text.substr(bracket + 1, end - bracket - 2));
        argument.longest = number.toInt(&isNumber);
        if (!isText(argument.kind))
            error(declaration.place(bracket), "only the kinds 'text' and 'html' have a length");
        else if (declaration.text[end - 1] != ']' || !isNumber || argument.longest < 1 ||
                 argument.longest > longestTold)
            error(declaration.place(bracket),
                  "the length of the longest text is a number from 1 to " +
                      std::to_string(longestTold) + " in brackets, as in text[64]");
    }

    void readTraits(const toml::table& table, Situation& situation)
    {
        situation.traits = traitsOfLevel(1);
        const toml::node* const level = table.get("level");
        const toml::node* const traits = table.get("traits");
        if (level && traits)
            error(placeOf(*traits), "there is a level already: leave out one of both");
        if (traits)
            situation.traits =
                numberOf(*traits, "traits", "a whole number, -1 for every bit",
                         std::numeric_limits<zmu::i64>::min(), std::numeric_limits<zmu::i64>::max())
                    .value_or(0);
        if (!level)
            return;
        const auto* const number = level->as_integer();
        const auto* const word = level->as_string();
        if (number && number->get() >= 1 && number->get() <= 5) {
            situation.traits = traitsOfLevel(number->get());
        } else if (word && word->get() == "always") {
            situation.approvalKind = 1;
            situation.traits = -1;
        } else if (word && word->get() == "never") {
            situation.traits = 0;
        } else {
            typeError(
                *level, "level",
                "\"always\", \"never\", or the least log output level that lets it through, 1 "
                "to 5");
        }
    }

    void readPlugInsOf(const toml::node& node, Situation& situation)
    {
        const std::string wanted = "a list of names below [plugins]: [\"count\"]";
        const toml::array* const list = node.as_array();
        if (!list) {
            typeError(node, "plugins", wanted);
            return;
        }
        for (const toml::node& entry : *list) {
            const auto text = locatedText(entry, "plugins", wanted);
            if (!text)
                continue;
            const auto known = std::ranges::find(m_catalog.plugIns, text->text, &PlugIn::name);
            if (known == m_catalog.plugIns.end())
                error(text->begin, "there is no plug-in '" + text->text + "' below [plugins]" +
                                       didYouMean(text->text, namesOf(m_catalog.plugIns)));
            else if (std::ranges::find(situation.plugIns, text->text, &PlugIn::name) !=
                     situation.plugIns.end())
                error(text->begin, "the plug-in '" + text->text + "' is here already");
            else
                situation.plugIns.push_back(*known);
        }
    }

    const Affix* findAffix(const toml::table& table, const std::string& key, std::string& name)
    {
        const auto text = textOf(table, key, "the name of an affix");
        if (!text)
            return nullptr;
        const auto found = std::ranges::find(m_affixes, text->text, &Affix::name);
        if (found == m_affixes.end()) {
            error(text->begin, "there is no affix '" + text->text + "' below [affixes]" +
                                   didYouMean(text->text, namesOf(m_affixes)));
            return nullptr;
        }
        name = text->text;
        return &*found;
    }

    void readTexts(const toml::table& table, Situation& situation)
    {
        AffixNames& names = m_affixNames[situation.name];
        const Affix* const prefix = findAffix(table, "prefix", names.prefix);
        const Affix* const suffix = findAffix(table, "suffix", names.suffix);
        Texts texts;
        if (const toml::node* const display = table.get("display"))
            if (auto message = readDisplay(*display, situation)) {
                checkMessage(*message, situation);
                texts.display = surrounded(prefix ? &prefix->display : nullptr, *std::move(message),
                                           suffix ? &suffix->display : nullptr);
            }
        if (const auto text = textOf(table, "log", "a text")) {
            Message message = parseMessage(*text, Target::Log, m_findings);
            checkMessage(message, situation);
            texts.log = surrounded(prefix ? &prefix->log : nullptr, std::move(message),
                                   suffix ? &suffix->log : nullptr);
        }
        if (!table.get("log") && (!table.get("display") || situation.showsLogText))
            error(situation.place, "'" + situation.name + "' tells nobody anything: write log = " +
                                       "\"...\", or a display with a text");
        texts.explanation = proseOf(table, "explanation");
        texts.action = proseOf(table, "action");
        situation.texts.push_back(std::move(texts));
    }

    void checkMessage(Message& message, const Situation& situation)
    {
        if (!hasWords(message))
            error(message.place, "the text is empty: write one, or leave the key out");
        resolve(message, situation.arguments, m_findings);
    }

    std::optional<Message> readDisplay(const toml::node& node, Situation& situation)
    {
        const std::string wanted = "{ style = \"information\", text = \"...\" }, or \"&\" for the "
                                   "text of the log";
        if (const auto* const text = node.as_string()) {
            situation.showsLogText = text->get() == "&";
            if (!situation.showsLogText)
                error(placeOf(node), "a display text needs a style: display = " + wanted);
            return std::nullopt;
        }
        const toml::table* const table = node.as_table();
        if (!table) {
            typeError(node, "display", wanted);
            return std::nullopt;
        }
        checkKeys(*table, {"text", "style", "wrap"}, "a display");
        readStyle(node, *table, situation);
        readWrap(*table, situation);
        const auto text = textOf(*table, "text", "a text");
        if (!table->get("text"))
            error(placeOf(node), "this display has no text: display = " + wanted);
        return text ? std::optional(parseMessage(*text, Target::Display, m_findings))
                    : std::nullopt;
    }

    void readStyle(const toml::node& display, const toml::table& table, Situation& situation)
    {
        static const std::map<std::string, unsigned> styles = {
            {"error", 16}, {"question", 32}, {"warning", 48}, {"information", 64}, {"plain", 0}};
        const toml::node* const style = table.get("style");
        if (!style) {
            error(placeOf(display),
                  "a display text needs a style: write style = \"information\" beside it");
            return;
        }
        const auto* const word = style->as_string();
        std::vector<std::string> words;
        for (const auto& [name, value] : styles)
            words.push_back(name);
        if (!word)
            situation.style = unsigned(
                numberOf(*style, "style",
                         listed(words) +
                             ", or the style word for the display function, a whole number",
                         0, std::numeric_limits<int>::max())
                    .value_or(0));
        else if (const auto known = styles.find(word->get()); known != styles.end())
            situation.style = known->second;
        else
            error(placeOf(*style), "there is no style '" + word->get() + "'" +
                                       (didYouMean(word->get(), words).empty()
                                            ? ": there are " + listed(words) + ", and numbers"
                                            : didYouMean(word->get(), words)));
    }

    void readWrap(const toml::table& table, Situation& situation)
    {
        constexpr int never = 255;
        const toml::node* const wrap = table.get("wrap");
        if (!wrap)
            return;
        if (const auto* const flag = wrap->as_boolean(); flag && !flag->get())
            situation.wrap = never;
        else
            situation.wrap =
                int(numberOf(*wrap, "wrap", "the column to break lines at, 1 to 254, or false", 1,
                             never - 1)
                        .value_or(-1));
    }

    /// Whoever is told of a situation with a plug-in may look at its arguments, too.
    void warnOfHidden(const Situation& situation)
    {
        if (!situation.plugIns.empty())
            return;
        std::set<int> shown = shownIn(situation.texts.front().display);
        shown.merge(shownIn(situation.texts.front().log));
        for (std::size_t i = 0; i < situation.arguments.size(); ++i)
            if (!shown.contains(int(i)))
                warn(situation.arguments[i].place,
                     "the argument '" + situation.arguments[i].name + "' is never shown: put {" +
                         situation.arguments[i].name + "} into a text, or leave it out");
    }

    Catalog m_catalog;
    int m_idFirst = 1;
    int m_idLast = idMax;
    std::vector<Affix> m_affixes;
    std::map<std::string, AffixNames> m_affixNames;
};

// ---- A translation ---------------------------------------------------------------------------------------

class TranslationReader : ValueReader {
  public:
    TranslationReader(const CatalogFile& file, const CatalogReader& first, Catalog& catalog,
                      Findings& findings)
        : ValueReader(file, findings), m_first(first), m_catalog(catalog),
          m_tag(languageOf(file.path))
    {}

    void read()
    {
        m_catalog.languages.push_back({m_tag, m_path});
        if (m_tag.empty())
            error({}, "the name of a translation tells its language: call the file " +
                          m_catalog.name + ".de.toml");
        else if (std::ranges::count(m_catalog.languages, m_tag, &Language::tag) > 1)
            error({}, "there are texts in '" + m_tag + "' already");
        for (Situation& situation : m_catalog.situations) // until something else is read
            situation.texts.push_back(situation.texts.front());
        const std::optional<toml::table> root = parse();
        if (!root)
            return;
        checkKeys(*root, {"affixes", "situations"}, "a translation");
        m_affixes = readAffixes(*root);
        completeAffixes(*root);
        const toml::table none;
        const toml::table* const table =
            tableOf(*root, "situations", "a table of situations: [situations.sessionStarted]");
        readSituations(table ? *table : none);
    }

  private:
    void completeAffixes(const toml::table& root)
    {
        const std::vector<std::string> known = namesOf(m_first.affixes());
        if (const toml::table* const table = root["affixes"].as_table())
            checkNames(*table, known, "affix", m_catalog.name);
        for (const Affix& affix : m_first.affixes())
            if (std::ranges::find(m_affixes, affix.name, &Affix::name) == m_affixes.end()) {
                warn({}, "the affix '" + affix.name + "' is not translated" + stays());
                m_affixes.push_back(affix);
            }
    }

    std::string stays() const { return ": it stays in '" + m_catalog.languages[0].tag + "'"; }

    void readSituations(const toml::table& table)
    {
        checkNames(table, namesOf(m_catalog.situations), "situation", m_catalog.name);
        for (Situation& situation : m_catalog.situations) {
            const toml::node* const node = table.get(situation.name);
            if (!node) {
                warn({}, "the situation '" + situation.name + "' is not translated" + stays());
                continue;
            }
            const std::size_t errorsBefore = m_findings.errorCount();
            if (const toml::table* const texts = node->as_table())
                readSituation(*texts, situation);
            else
                typeError(*node, situation.name, "a table with the texts");
            situation.isSound = situation.isSound && m_findings.errorCount() == errorsBefore;
        }
    }

    void readSituation(const toml::table& table, Situation& situation)
    {
        checkKeys(table, {"arguments", "display", "log", "explanation", "action"},
                  "a situation in a translation");
        if (const toml::node* const arguments = table.get("arguments"))
            checkArguments(*arguments, situation);
        const Texts& first = situation.texts.front();
        Texts& texts = situation.texts.back();
        const AffixNames& affixes = m_first.affixNames().at(situation.name);
        const Place place = placeOf(table);

        const toml::node* display = table.get("display");
        if (display && display->is_table()) {
            checkKeys(*display->as_table(), {"text"}, "a translated display");
            display = display->as_table()->get("text");
        }
        if (auto text =
                translated(display, "display", Target::Display, first.display, situation, place))
            texts.display = surrounded(affix(affixes.prefix, &Affix::display), *std::move(text),
                                       affix(affixes.suffix, &Affix::display));
        if (auto text =
                translated(table.get("log"), "log", Target::Log, first.log, situation, place))
            texts.log = surrounded(affix(affixes.prefix, &Affix::log), *std::move(text),
                                   affix(affixes.suffix, &Affix::log));
        prose(table, "explanation", first.explanation, texts.explanation);
        prose(table, "action", first.action, texts.action);
    }

    const Message* affix(const std::string& name, Message Affix::*text) const
    {
        const auto found = std::ranges::find(m_affixes, name, &Affix::name);
        return found == m_affixes.end() ? nullptr : &((*found).*text);
    }

    void prose(const toml::table& table, const std::string& key, const std::string& first,
               std::string& text)
    {
        if (table.get(key))
            text = proseOf(table, key);
        else if (!first.empty())
            warn(placeOf(table), "'" + key + "' is not translated" + stays());
    }

    std::optional<Message> translated(const toml::node* node, const std::string& key, Target target,
                                      const Message& first, const Situation& situation, Place place)
    {
        if (!node) {
            if (!first.isEmpty())
                warn(place, "'" + key + "' is not translated" + stays());
            return std::nullopt;
        }
        if (first.isEmpty()) {
            error(placeOf(*node), "there is nothing to translate: '" + situation.name +
                                      "' has no text "
                                      "of its own for '" +
                                      key + "'");
            return std::nullopt;
        }
        const auto text = locatedText(*node, key, "a text");
        if (!text)
            return std::nullopt;
        Message message = parseMessage(*text, target, m_findings);
        if (!hasWords(message))
            error(message.place, "the text is empty: write one, or leave the key out");
        resolve(message, situation.arguments, m_findings);
        for (const int argument : shownIn(first))
            if (!shownIn(message).contains(argument))
                error(message.place,
                      "this text lacks {" + situation.arguments[std::size_t(argument)].name +
                          "}, which the one in '" + m_catalog.languages[0].tag + "' shows");
        for (const Piece& piece : message.pieces)
            if (piece.argument >= 0 && !shownIn(first).contains(piece.argument))
                error(piece.place, "the text in '" + m_catalog.languages[0].tag +
                                       "' does not show {" + piece.text + "}");
        return message;
    }

    void checkArguments(const toml::node& node, const Situation& situation)
    {
        std::string wanted;
        for (const Argument& argument : situation.arguments)
            wanted += (wanted.empty() ? "\"" : ", \"") + argument.name + "\"";
        const toml::array* const list = node.as_array();
        bool isSame = list && list->size() == situation.arguments.size();
        for (std::size_t i = 0; isSame && i < list->size(); ++i) {
            const auto* const text = list->get(i)->as_string();
            const std::string name = text ? text->get().substr(0, text->get().find(':')) : "";
            isSame =
                name == situation.arguments[i].name && isSameKind(*text, situation.arguments[i]);
        }
        if (!isSame)
            error(placeOf(node), "the arguments differ from those in '" +
                                     m_catalog.languages[0].tag + "', [" + wanted +
                                     "]: leave them out, they are no translator's");
    }

    static bool isSameKind(const toml::value<std::string>& text, const Argument& argument)
    {
        const std::size_t colon = text->find(':');
        if (colon == std::string::npos)
            return true;
        const std::string kind =
            QString::fromStdString(text->substr(colon + 1)).trimmed().toStdString();
        return kindOf(kind.substr(0, kind.find('['))) == argument.kind;
    }

    const CatalogReader& m_first;
    Catalog& m_catalog;
    std::string m_tag;
    std::vector<Affix> m_affixes;
};

} // namespace

std::string languageOf(const std::string& path)
{
    const std::string name = withoutSuffix(fileNameOf(path));
    const std::size_t dot = name.rfind('.');
    const std::string tag = dot == std::string::npos ? "" : name.substr(dot + 1);
    return isLanguage(tag) ? tag : "";
}

Catalog readCatalog(const CatalogFile& first, const std::vector<CatalogFile>& translations,
                    Findings& findings)
{
    CatalogReader reader(first, findings);
    Catalog catalog = reader.read();
    for (const CatalogFile& file : translations)
        TranslationReader(file, reader, catalog, findings).read();
    return catalog;
}

} // namespace zmu_tools
