// From TOML to the model, in the first language. Every mistake is told; what is wrong is left out,
// and reading goes on.
#include "Names.h"
#include "ValueReader.h"

#include <zmu/foundation/internal/Trim.h>

#include <QString>
#include <QStringList>

#include <array>
#include <limits>
#include <set>

namespace zmu_tools {

namespace {

constexpr int idMax = 65535; // a string table of Windows has no others
constexpr int plugInRowMax = 98;
constexpr int roomUsual = 800;
constexpr int roomMin = 100;
constexpr int descriptionMax = 1023;
constexpr int longestTold = 1000;
constexpr std::size_t argumentsMax = 99; // that any data set can have

/// The level fields, by the log output level of the product that opens them.
zmu::i64 traitsOfLevel(zmu::i64 level)
{
    constexpr std::array<int, 5> shifts = {29, 33, 49, 25, 45};
    return zmu::i64(1) << shifts[std::size_t(level - 1)];
}

class CatalogReader : ValueReader {
  public:
    CatalogReader(const CatalogFile& file, FirstLanguage& first, Findings& findings)
        : ValueReader(file, findings), m_first(first)
    {
        m_catalog.name = baseName(file.path);
        m_catalog.room = roomUsual;
        m_catalog.languages.push_back({"en", file.path});
    }

    Catalog read()
    {
        if (!isFileName(m_catalog.name))
            error({},
                  "'" + m_catalog.name +
                      "' cannot be the name of a catalogue, which its header "
                      "and modules have, too: write letters, digits, - _ and ., a letter or digit "
                      "first");
        const std::optional<toml::table> root = parse();
        if (root) {
            checkKeys(*root, {"catalog", "affixes", "plugins", "situations"}, "a catalogue");
            readHead(*root);
            m_first.affixes = readAffixes(*root);
            readPlugIns(*root);
            readSituations(*root);
        }
        return std::move(m_catalog);
    }

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
                                       "' is no namespace, or means something else to C++ or its "
                                       "headers: write one such as \"product::situations\"");
        } else if (isFileName(m_catalog.name) && !isNameSpace(m_catalog.name)) {
            error({},
                  "'" + m_catalog.name +
                      "', the file's name, is no namespace, or means something else to C++ or "
                      "its headers: write namespace = \"product::" +
                      (isIdentifier(m_catalog.name) && !isReserved(m_catalog.name) ? m_catalog.name
                                                                                   : "situations") +
                      "\" below [catalog], or give the file another name");
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
        m_idFirst = m_idFree = first;
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
            if (!isFunctionName(name)) {
                error(placeOf(key), "'" + name +
                                        "' cannot be the name of a plug-in: write letters and "
                                        "digits, a small letter first, as countEvents");
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
            noteId(*key, *table->get(key->str()));
        for (const auto& [place, key] : order)
            readSituation(*key, *table->get(key->str()));
    }

    /// Enters the ID that a situation has, if no earlier one has it.
    void noteId(const toml::key& key, const toml::node& node)
    {
        const toml::table* const table = node.as_table();
        const auto* const id = table ? table->get_as<zmu::i64>("id") : nullptr;
        if (id && id->get() >= 1 && id->get() <= idMax)
            m_ids.emplace(int(id->get()), &key);
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
        if (!isFunctionName(situation.name))
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
        if (situation.isRecorded && isFunctionName(situation.name))
            checkRecorder(situation);
        readTraits(*table, situation);
        if (const toml::node* const plugIns = table->get("plugins"))
            readPlugInsOf(*plugIns, situation);
        readTexts(*table, situation);
        situation.isSound = m_findings.errorCount() == errorsBefore;
        if (situation.isSound)
            warnOfHidden(situation);
        m_catalog.situations.push_back(std::move(situation));
    }

    void checkRecorder(const Situation& situation)
    {
        const std::string name = recorderName(situation.name);
        if (isReserved(name) || name == "PlugIns")
            error(situation.place, "'" + situation.name +
                                       "' cannot have recorded arguments, whose class would be "
                                       "called " +
                                       name + ": give it another name");
    }

    void readId(const toml::table& table, Situation& situation)
    {
        const toml::node* const node = table.get("id");
        if (!node) {
            error(situation.place,
                  "'" + situation.name + "' has no id" + withFreeId(": write id = ", ", and "));
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
        const toml::key& owner = *m_ids.at(situation.id);
        if (owner.str() != situation.name)
            error(placeOf(*node), "ID " + number + " is taken by '" + std::string(owner.str()) +
                                      "' in line " + std::to_string(placeOf(owner).line) +
                                      withFreeId(": the next free one is ", ", and "));
    }

    /// `words` and an ID that is free and that nobody was told of yet, or `orElse` and that there
    /// is none.
    std::string withFreeId(const std::string& words, const std::string& orElse)
    {
        while (m_ids.contains(m_idFree))
            ++m_idFree;
        if (m_idFree <= m_idLast)
            return words + std::to_string(m_idFree++);
        return orElse + "the range " + std::to_string(m_idFirst) + "-" + std::to_string(m_idLast) +
               " is full: widen ids below [catalog]";
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
        for (const toml::node& entry : *list) {
            if (situation.arguments.size() == argumentsMax) {
                error(placeOf(entry),
                      "no situation has more than " + std::to_string(argumentsMax) + " arguments");
                return;
            }
            if (const auto text = locatedText(entry, "arguments", wanted))
                readArgument(*text, situation);
        }
    }

    void readArgument(const LocatedText& declaration, Situation& situation)
    {
        const std::string& text = declaration.text;
        const std::size_t colon = text.find(':');
        if (colon == std::string::npos) {
            error(declaration.begin, "'" + text + "' has no kind: write \"" +
                                         (isIdentifier(text) ? text : "session") + ": u32\"");
            situation.arguments.push_back({text, Kind::Text, false, 0, declaration.begin});
            return;
        }
        const std::string_view all = text;
        const std::string_view name = zmu::trim(all.substr(0, colon), " ");
        const std::string_view told = zmu::trim(all.substr(colon + 1), " ");
        const std::string_view kind = told.substr(0, told.find('['));
        const auto placeOfPart = [&](std::string_view part) {
            return declaration.place(part.empty() ? colon + 1
                                                  : std::size_t(part.data() - all.data()));
        };
        Argument argument{std::string(name), Kind::Text, false, 0, placeOfPart(name)};
        if (!isFunctionName(argument.name))
            error(argument.place, "'" + argument.name +
                                      "' cannot be the name of an argument: write "
                                      "letters and digits, a small letter first, as userName");
        if (std::ranges::find(situation.arguments, argument.name, &Argument::name) !=
            situation.arguments.end())
            error(argument.place, "there is an argument '" + argument.name + "' already");

        if (const auto known = kindOf(kind)) {
            argument.kind = *known;
            argument.isKindKnown = true;
            if (const std::string_view length = told.substr(kind.size()); !length.empty())
                readLongest(length, placeOfPart(length), argument);
        } else {
            error(placeOfPart(told), "there is no kind '" + std::string(kind) + "'" +
                                         hintOrAll(kind, kindNames(), ": there are "));
        }
        situation.arguments.push_back(std::move(argument));
    }

    /// Reads a `length` such as "[64]".
    void readLongest(std::string_view length, Place place, Argument& argument)
    {
        bool isNumber = false;
        if (length.ends_with(']'))
            argument.longest =
                QByteArray(length.data() + 1, qsizetype(length.size()) - 2).toInt(&isNumber);
        if (!isText(argument.kind))
            error(place, "only the kinds 'text' and 'html' have a length");
        else if (!isNumber || argument.longest < 1 || argument.longest > longestTold)
            error(place, "the length of the longest text is a number from 1 to " +
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
                                       hint(text->text, m_catalog.plugIns));
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
        const auto found = m_first.affixes.find(text->text);
        if (found == m_first.affixes.end()) {
            error(text->begin, "there is no affix '" + text->text + "' below [affixes]" +
                                   hint(text->text, m_first.affixes));
            return nullptr;
        }
        name = text->text;
        return &found->second;
    }

    void readTexts(const toml::table& table, Situation& situation)
    {
        AffixNames& names = m_first.affixNames[situation.name];
        const Affix* const prefix = findAffix(table, "prefix", names.prefix);
        const Affix* const suffix = findAffix(table, "suffix", names.suffix);
        Texts texts;
        if (const toml::node* const display = table.get("display"))
            if (auto message = readDisplay(*display, situation))
                texts.display = surrounded(prefix ? &prefix->display : nullptr, *std::move(message),
                                           suffix ? &suffix->display : nullptr);
        if (const auto text = textOf(table, "log", "a text"))
            texts.log = surrounded(prefix ? &prefix->log : nullptr,
                                   messageOf(*text, Target::Log, situation),
                                   suffix ? &suffix->log : nullptr);
        if (!table.get("log") && (!table.get("display") || situation.showsLogText))
            error(situation.place, "'" + situation.name + "' tells nobody anything: write log = " +
                                       "\"...\", or a display with a text");
        texts.explanation = proseOf(table, "explanation");
        texts.action = proseOf(table, "action");
        situation.texts.push_back(std::move(texts));
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
        return text ? std::optional(messageOf(*text, Target::Display, situation)) : std::nullopt;
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
            error(placeOf(*style),
                  "there is no style '" + word->get() + "'" +
                      hintOrAll(word->get(), words, ": beside numbers there are "));
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
    int m_idFree = 1;                      ///< All below are taken, or were told to somebody.
    std::map<int, const toml::key*> m_ids; ///< That the file has, with the first that has each.
    FirstLanguage& m_first;
};

} // namespace

std::string baseName(const std::string& path)
{
    std::string name = path.substr(path.find_last_of("/\\") + 1);
    constexpr std::string_view suffix = ".toml";
    if (name.ends_with(suffix))
        name.resize(name.size() - suffix.size());
    return name;
}

Catalog readCatalog(const CatalogFile& first, const std::vector<CatalogFile>& translations,
                    Findings& findings)
{
    FirstLanguage language;
    Catalog catalog = CatalogReader(first, language, findings).read();
    for (const CatalogFile& file : translations)
        readTranslation(file, language, catalog, findings);
    return catalog;
}

} // namespace zmu_tools
