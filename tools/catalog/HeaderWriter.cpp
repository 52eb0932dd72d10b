#include "Names.h"
#include "Writers.h"

#include <QString>

#include <algorithm>

namespace zmu_tools {

namespace {

const char support[] = "::zmu::catalog::";

std::string parameterType(Kind kind)
{
    switch (kind) {
    case Kind::U32:
        return "U32";
    case Kind::I32:
        return "I32";
    case Kind::U64:
        return "U64";
    case Kind::I64:
        return "I64";
    case Kind::F64:
        return "F64";
    case Kind::Text:
        return "Text";
    default:
        return "Html";
    }
}

std::string number(std::size_t value)
{
    return std::to_string(value);
}

/// One line of a comment, without characters that turn the direction of writing.
std::string comment(const Message& message)
{
    std::string text;
    for (const Piece& piece : message.pieces)
        text += piece.isInsert ? "{" + piece.text + "}" : piece.text;
    for (char& c : text)
        if (c == '\n' || c == '\t' || c == '\\') // a backslash at the end would go on
            c = ' ';
    return QString::fromStdString(text)
        .removeIf([](QChar c) {
            return (c >= u'\u202a' && c <= u'\u202e') || (c >= u'\u2066' && c <= u'\u2069');
        })
        .replace("?\?/", "?\? /") // a backslash to old compilers
        .toStdString();
}

/// What one situation has in the header.
class SituationWriter {
  public:
    SituationWriter(const Situation& situation, const CompiledSituation& compiled)
        : m_situation(situation), m_compiled(compiled)
    {}

    std::string text() const
    {
        return m_situation.isRecorded ? recorder() + function() : function();
    }

  private:
    const Argument& argumentOf(const Filler& filler) const
    {
        return m_situation.arguments[std::size_t(filler.argument)];
    }

    std::string documentation() const
    {
        const Texts& texts = m_situation.texts.front();
        return "/// " + comment(texts.log.isEmpty() ? texts.display : texts.log) + "\n";
    }

    std::string className() const { return recorderName(m_situation.name); }

    std::string parameters() const
    {
        std::string list = "::Zarn* monitor";
        for (const Argument& argument : m_situation.arguments)
            list +=
                std::string(", ") + support + parameterType(argument.kind) + " " + argument.name;
        return list;
    }

    /// A name for what a filler is kept in; no argument's name has an underscore at its end.
    static std::string holderName(std::size_t filler)
    {
        return "filler" + number(filler + 1) + "_";
    }

    std::string holderType(const Filler& filler) const
    {
        switch (filler.form) {
        case Filler::Form::Number:
            return argumentOf(filler).kind == Kind::U32 ? "unsigned int" : "int";
        case Filler::Form::Digits:
            return std::string(support) + "Digits";
        default:
            return support +
                   std::string(filler.form == Filler::Form::Html ? "Escaped<" : "Plain<") +
                   number(filler.longest) + ">";
        }
    }

    /// What a filler is made of.
    std::string source(const Filler& filler) const
    {
        const Argument& argument = argumentOf(filler);
        if (isText(argument.kind))
            return argument.name;
        std::string text = argument.name + ".value";
        if (filler.form == Filler::Form::Number)
            return text;
        const char conversion = filler.asked.conversion;
        if (argument.kind == Kind::F64) {
            const std::string format = conversion == 'e'   ? "scientific"
                                       : conversion == 'g' ? "general"
                                                           : "fixed";
            text += ", ::std::chars_format::" + format + ", " +
                    std::to_string(
                        conversion && filler.asked.precision < 0 ? 6 : filler.asked.precision);
        } else {
            const bool isHex = conversion == 'x' || conversion == 'X';
            text += isHex ? ", 16" : conversion == 'o' ? ", 8" : ", 10";
            text += conversion == 'X' ? ", true" : ", false";
        }
        return text + ", " + std::to_string(filler.asked.width);
    }

    static std::string value(const Filler& filler, const std::string& holder)
    {
        return filler.form == Filler::Form::Number ? holder : holder + ".c_str()";
    }

    std::string function() const
    {
        std::string text = documentation() + "inline int " + m_situation.name + "(" + parameters() +
                           ") noexcept\n{\n";
        if (m_situation.isRecorded) {
            text += "    return " + className() + "(monitor)";
            for (const Argument& argument : m_situation.arguments)
                text += "." + argument.name + "(" + argument.name + ")";
            return text + ".report();\n}\n\n";
        }
        std::string values;
        for (std::size_t i = 0; i < m_compiled.fillers.size(); ++i) {
            const Filler& filler = m_compiled.fillers[i];
            if (filler.form == Filler::Form::Number) {
                values += ", " + source(filler);
            } else {
                text += "    const " + holderType(filler) + " " + holderName(i) + "(" +
                        source(filler) + ");\n";
                values += ", " + value(filler, holderName(i));
            }
        }
        return text + "    return " + support + "report(monitor, id::" + m_situation.name + values +
               ");\n}\n\n";
    }

    std::string recorder() const
    {
        std::string text =
            documentation() +
            "/// Takes the arguments as they become known; nothing of them is in the "
            "monitor until the report.\nclass " +
            className() + " {\n  public:\n    explicit " + className() +
            "(::Zarn* monitor) noexcept : monitor_(monitor) {}\n";
        for (std::size_t i = 0; i < m_situation.arguments.size(); ++i)
            text += setter(int(i));
        std::string values, members;
        for (std::size_t i = 0; i < m_compiled.fillers.size(); ++i) {
            const Filler& filler = m_compiled.fillers[i];
            const std::string recorded =
                filler.form != Filler::Form::Number ? "const wchar_t*" : holderType(filler);
            values += std::string(", ") + support + "Recorded<" + recorded + ">{" +
                      value(filler, holderName(i)) + ", " + std::to_string(filler.slot) + "}";
            members += "    " + holderType(filler) + " " + holderName(i) +
                       (filler.form == Filler::Form::Number ? " = 0;\n" : ";\n");
        }
        return text + "    int report() noexcept\n    {\n        return " + support +
               "reportRecorded(monitor_, id::" + m_situation.name + values +
               ");\n    }\n\n  private:\n    ::Zarn* monitor_;\n" + members + "};\n\n";
    }

    std::string setter(int argument) const
    {
        const Argument& taken = m_situation.arguments[std::size_t(argument)];
        std::string text = "    " + className() + "& " + taken.name + "(" + support +
                           parameterType(taken.kind) + " " + taken.name + ") noexcept\n    {\n";
        for (std::size_t i = 0; i < m_compiled.fillers.size(); ++i) {
            const Filler& filler = m_compiled.fillers[i];
            if (filler.argument != argument)
                continue;
            text += "        " + holderName(i);
            if (filler.form == Filler::Form::Number)
                text += " = " + source(filler) + ";\n";
            else if (filler.form == Filler::Form::Digits)
                text += " = " + holderType(filler) + "(" + source(filler) + ");\n";
            else
                text += ".assign(" + source(filler) + ");\n";
        }
        return text + "        return *this;\n    }\n";
    }

    const Situation& m_situation;
    const CompiledSituation& m_compiled;
};

std::string ids(const Catalog& catalog)
{
    std::string text =
        "/// The IDs of the situations, for plug-ins and failure functions.\nnamespace "
        "id {\n";
    for (const Situation& situation : catalog.situations)
        text +=
            "inline constexpr int " + situation.name + " = " + std::to_string(situation.id) + ";\n";
    return text + "} // namespace id\n\n";
}

std::string loading(const Catalog& catalog)
{
    std::string text = "/// Loads the texts in the first of `languages` that there is (\"de:en\"; "
                       "empty stands for\n"
                       "/// the user's), else in the first language. Null, with the last error, if "
                       "they are missing.\n"
                       "inline ::HMODULE load(::std::string_view languages = {}) noexcept\n{\n"
                       "    static constexpr ::zmu::catalog::Translation translations[] = {\n";
    for (std::size_t i = 0; i < catalog.languages.size(); ++i)
        text += "        {\"" + catalog.languages[i].tag + "\", L\"" + moduleName(catalog, i) +
                ".dll\"},\n";
    return text +
           "    };\n    return ::zmu::catalog::loadTranslation(translations, languages);\n}\n\n";
}

std::string settingUp(const Catalog& catalog, const std::vector<CompiledSituation>& compiled)
{
    std::size_t fillers = 0;
    int recorded[3] = {}; // of d, u and s
    for (std::size_t i = 0; i < compiled.size(); ++i) {
        fillers = std::max(fillers, compiled[i].fillers.size());
        for (const Filler& filler : compiled[i].fillers)
            if (catalog.situations[i].isRecorded) {
                const char letter = letterOf(filler, catalog.situations[i]);
                int& qty = recorded[letter == 'd' ? 0 : letter == 'u' ? 1 : 2];
                qty = std::max(qty, filler.slot + 1);
            }
    }
    std::string text, parameter, rows;
    if (!catalog.plugIns.empty()) {
        text += "/// The plug-ins that situations run.\nstruct PlugIns {\n";
        for (const PlugIn& plugIn : catalog.plugIns)
            text += "    ::ZarnPlugIn " + plugIn.name + " = nullptr;\n";
        text += "};\n\n";
        parameter = ", const PlugIns& plugIns";
        for (int row = 0; row <= catalog.plugIns.back().row; ++row) {
            const auto known = std::ranges::find(catalog.plugIns, row, &PlugIn::row);
            rows += (rows.empty() ? "" : ", ") +
                    (known == catalog.plugIns.end() ? "nullptr" : "plugIns." + known->name);
        }
    }
    text +=
        "/// Prepares a data set before it becomes a monitor's, as in an owner's customizeForOwner:"
        "\n/// `texts` are what load() has answered, null where the owner has them. False if it is "
        "too late.\ninline bool setUp(::ZarnData& settings, ::HMODULE texts" +
        parameter + ") noexcept\n{\n";
    if (!rows.empty())
        text += "    const ::ZarnPlugIn rows[] = {" + rows + "};\n";
    return text + "    return ::zmu::catalog::setUp(settings, texts, {" + number(fillers) + ", " +
           std::to_string(recorded[0]) + ", " + std::to_string(recorded[1]) + ", " +
           std::to_string(recorded[2]) + "}, " + (rows.empty() ? "{}" : "rows") + ");\n}\n\n";
}

} // namespace

std::string moduleName(const Catalog& catalog, std::size_t language)
{
    return language == 0 ? catalog.name : catalog.name + "_" + catalog.languages[language].tag;
}

std::string headerText(const Catalog& catalog, const std::vector<CompiledSituation>& compiled)
{
    std::string text =
        "// The situations of " + catalog.name +
        ".toml, made by `zmu compile`: change the catalogue.\n//\n// A call reports "
        "its situation and answers the code, 0 for success; it leaves nothing behind.\n"
        "#pragma once\n\n#include <zmu/catalog/Calls.h>\n\nnamespace " +
        catalog.nameSpace + " {\n\n" + ids(catalog) + loading(catalog) +
        settingUp(catalog, compiled);
    for (std::size_t i = 0; i < compiled.size(); ++i)
        text += SituationWriter(catalog.situations[i], compiled[i]).text();
    return text + "} // namespace " + catalog.nameSpace + "\n";
}

} // namespace zmu_tools
