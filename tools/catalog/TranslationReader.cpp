// From TOML to the model, in another language than the first.
#include "Names.h"
#include "ValueReader.h"

#include <QString>

#include <set>

namespace zmu_tools {

namespace {

/// As whoever chooses a language compares them.
bool isSameLanguage(const std::string& left, const std::string& right)
{
    return QString::fromStdString(left).compare(QString::fromStdString(right),
                                                Qt::CaseInsensitive) == 0;
}

class TranslationReader : ValueReader {
  public:
    TranslationReader(const CatalogFile& file, const FirstLanguage& first, Catalog& catalog,
                      Findings& findings)
        : ValueReader(file, findings), m_first(first), m_catalog(catalog),
          m_tag(languageOf(file.path))
    {}

    void read()
    {
        const std::vector<Language> earlier = m_catalog.languages;
        m_catalog.languages.push_back({m_tag, m_path});
        if (m_tag.empty())
            error({}, "the name of a translation tells its language: call the file " +
                          m_catalog.name + ".de.toml");
        else if (std::ranges::any_of(earlier, [this](const Language& language) {
                     return isSameLanguage(language.tag, m_tag);
                 }))
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
        const std::vector<std::string> known = namesOf(m_first.affixes);
        if (const toml::table* const table = root["affixes"].as_table())
            checkNames(*table, known, "affix", m_catalog.name);
        for (const auto& [name, affix] : m_first.affixes)
            if (m_affixes.try_emplace(name, affix).second)
                warn({}, "the affix '" + name + "' is not translated" + stays());
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
        const AffixNames& affixes = m_first.affixNames.at(situation.name);
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
        const auto found = m_affixes.find(name);
        return found == m_affixes.end() ? nullptr : &(found->second.*text);
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
        Message message = messageOf(*text, target, situation);
        const std::set<int> shown = shownIn(message), shownFirst = shownIn(first);
        for (const int argument : shownFirst)
            if (!shown.contains(argument))
                error(message.place,
                      "this text lacks {" + situation.arguments[std::size_t(argument)].name +
                          "}, which the one in '" + m_catalog.languages[0].tag + "' shows");
        for (const Piece& piece : message.pieces)
            if (piece.argument >= 0 && !shownFirst.contains(piece.argument))
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

    const FirstLanguage& m_first;
    Catalog& m_catalog;
    std::string m_tag;
    Affixes m_affixes;
};

} // namespace

std::string languageOf(const std::string& path)
{
    const std::string name = baseName(path);
    const std::size_t dot = name.rfind('.');
    const std::string tag = dot == std::string::npos ? "" : name.substr(dot + 1);
    return isLanguage(tag) ? tag : "";
}

void readTranslation(const CatalogFile& file, const FirstLanguage& first, Catalog& catalog,
                     Findings& findings)
{
    TranslationReader(file, first, catalog, findings).read();
}

} // namespace zmu_tools
