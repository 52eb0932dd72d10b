#include "CompileCommand.h"

#include "Writers.h"

#include <tools/Text.h>

#include <CLI/CLI.hpp>
#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <cstdio>
#include <memory>
#include <optional>

namespace zmu_tools {

namespace {

struct Options {
    std::string catalog;
    std::vector<std::string> translations;
    std::string output = ".";
    bool isCheckOnly = false;
};

/// Tells that `file` cannot be, for instance, "read".
void tell(const QFileDevice& file, const char* done)
{
    std::fprintf(stderr, "%s: error: cannot be %s: %s\n",
                 harmless(file.fileName().toStdString()).c_str(), done,
                 harmless(file.errorString().toStdString()).c_str());
}

std::optional<CatalogFile> readFile(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    if (!file.open(QFile::ReadOnly)) {
        tell(file, "read");
        return std::nullopt;
    }
    return CatalogFile{path, file.readAll().toStdString()};
}

/// Writes the file as a whole or not at all, and leaves one alone that is so already: a build makes
/// nothing anew of that.
bool writeFile(const QDir& folder, const std::string& name, const std::string& text)
{
    const QString path = folder.filePath(QString::fromStdString(name));
    const QByteArray content = QByteArray::fromStdString(text);
    QFile present(path);
    if (present.open(QFile::ReadOnly) && present.size() == content.size() &&
        present.readAll() == content)
        return true;
    present.close();
    QSaveFile file(path);
    if (file.open(QFile::WriteOnly) && file.write(content) == content.size() && file.commit())
        return true;
    tell(file, "written");
    return false;
}

bool writeFiles(const Catalog& catalog, const std::vector<CompiledSituation>& compiled,
                const std::string& output)
{
    const QDir folder(QString::fromStdString(output));
    folder.mkpath(".");
    bool isWritten = writeFile(folder, catalog.name + ".h", headerText(catalog, compiled));
    for (std::size_t i = 0; i < catalog.languages.size(); ++i) {
        const std::string name = moduleName(catalog, i);
        isWritten = isWritten &&
                    writeFile(folder, name + ".cpp", moduleText(catalog, compiled, i)) &&
                    writeFile(folder, name + ".rc", stringTableText(catalog, compiled, i)) &&
                    writeFile(folder, name + ".html", pageText(catalog, i));
    }
    return isWritten;
}

Exit compileCatalog(const Options& options)
{
    const std::optional<CatalogFile> first = readFile(options.catalog);
    std::vector<CatalogFile> translations;
    for (const std::string& path : options.translations)
        if (std::optional<CatalogFile> file = readFile(path))
            translations.push_back(*std::move(file));
    if (!first || translations.size() < options.translations.size())
        return Exit::Unreadable;

    Findings findings;
    const Catalog catalog = readCatalog(*first, translations, findings);
    const std::vector<CompiledSituation> compiled = compile(catalog, findings);
    for (const Finding& finding : findings.sorted())
        std::fprintf(stderr, "%s\n", toText(finding).c_str());
    if (const std::string more = findings.untold(); !more.empty())
        std::fprintf(stderr, "%s\n", more.c_str());
    if (findings.hasErrors())
        return Exit::Findings;
    return options.isCheckOnly || writeFiles(catalog, compiled, options.output) ? Exit::Good
                                                                                : Exit::Unreadable;
}

} // namespace

void addCompileCommand(CLI::App& app, Run& run)
{
    auto options = std::make_shared<Options>();
    CLI::App* const command = app.add_subcommand(
        "compile", "Make typed calls, resource modules and a page of explanations of a catalogue.");
    command->add_option("CATALOG", options->catalog, "The catalogue, NAME.toml")->required();
    command->add_option("TRANSLATION", options->translations,
                        "Its translations, NAME.LANGUAGE.toml");
    command->add_option(
        "-o,--output", options->output,
        "Folder for NAME.h and, for each language, NAME_LANGUAGE.cpp, .rc and .html; "
        "the present one unless it is told");
    command->add_flag("--check", options->isCheckOnly, "Only tell what is wrong");
    command->callback([options, &run] { run = [options] { return compileCatalog(*options); }; });
}

} // namespace zmu_tools
