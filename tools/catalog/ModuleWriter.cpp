// The strings of a catalogue: as a module of its own, and as a string table of Windows.
#include "Writers.h"

#include <tools/Text.h>

#include <QString>

#include <algorithm>
#include <cstdio>

namespace zmu_tools {

namespace {

struct Row {
    int id;
    const std::string* text;
};

std::vector<Row> rowsById(const Catalog& catalog, const std::vector<CompiledSituation>& compiled,
                          std::size_t language)
{
    std::vector<Row> rows;
    for (std::size_t i = 0; i < compiled.size(); ++i)
        rows.push_back({catalog.situations[i].id, &compiled[i].specs[language]});
    std::ranges::sort(rows, {}, &Row::id);
    return rows;
}

/// A wide literal of C++ in ASCII.
std::string wideLiteral(const std::string& text)
{
    std::string literal = "L\"";
    for (const char32_t character : QString::fromStdString(text).toStdU32String()) {
        char form[16] = {};
        if (character == U'"' || character == U'\\' || character == U'?') // two begin a trigraph
            std::snprintf(form, sizeof form, "\\%c", char(character));
        else if (character < 0x20)
            std::snprintf(form, sizeof form, "\\%03o", unsigned(character));
        else if (character < 0x7f)
            form[0] = char(character);
        else if (character < 0xa0) // no character of a literal by its name
            std::snprintf(form, sizeof form, "\\%03o", unsigned(character));
        else
            std::snprintf(form, sizeof form, character < 0x10000 ? "\\u%04x" : "\\U%08x",
                          unsigned(character));
        literal += form;
    }
    return literal + "\"";
}

} // namespace

std::string moduleText(const Catalog& catalog, const std::vector<CompiledSituation>& compiled,
                       std::size_t language)
{
    std::string text = "// Texts of " + catalog.name + ".toml in '" +
                       catalog.languages[language].tag +
                       "', made by `zmu compile`: change the catalogue.\n#include "
                       "<zmu/localize/ResourceModule.h>\n\n#include <algorithm>\n#include "
                       "<string_view>\n\nnamespace {\n\nstruct Row {\n    unsigned int id;\n    "
                       "std::wstring_view text;\n};\n\nconstexpr Row rows[] = {\n";
    for (const Row& row : rowsById(catalog, compiled, language))
        text += "    {" + std::to_string(row.id) + ", " + wideLiteral(*row.text) + "},\n";
    return text + R"(};

} // namespace

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    constexpr int tooSmall = 122;
    const Row* const row = std::lower_bound(
        std::begin(rows), std::end(rows), id,
        [](const Row& left, unsigned int wanted) { return left.id < wanted; });
    if (row == std::end(rows) || row->id != id) {
        SetLastError(zmu::StringUnknown);
        return 0;
    }
    if (bufferMax < 1 || row->text.size() >= static_cast<std::size_t>(bufferMax)) {
        SetLastError(tooSmall);
        return 0;
    }
    buffer[row->text.copy(buffer, row->text.size())] = L'\0';
    SetLastError(zmu::StringFound);
    return static_cast<int>(row->text.size());
}
)";
}

std::string stringTableText(const Catalog& catalog, const std::vector<CompiledSituation>& compiled,
                            std::size_t language)
{
    std::string text = "// Texts of " + catalog.name + ".toml in '" +
                       catalog.languages[language].tag +
                       "', made by `zmu compile`: change the catalogue.\n"
                       "LANGUAGE 0, 0\n\nSTRINGTABLE\nBEGIN\n";
    for (const Row& row : rowsById(catalog, compiled, language)) {
        std::string literal;
        for (const char16_t unit : QString::fromStdString(*row.text).toStdU16String()) {
            char form[8] = {char(unit)};
            if (unit == u'"' || unit == u'\\')
                form[1] = form[0];
            else if (unit < 0x20 ||
                     unit > 0x7e) // resource compilers differ in what they take as UTF-8
                std::snprintf(form, sizeof form, "\\x%04x", unsigned(unit));
            literal += form;
        }
        text += "    " + std::to_string(row.id) + " L\"" + literal + "\"\n";
    }
    return text + "END\n";
}

} // namespace zmu_tools
