// A catalogue: the situations of a product, as its developers write them down.
//
// docs/catalogs.md tells what a file looks like. Reading one judges everything that can be told
// from the file alone; how long texts get, and what a response spec makes of them, is Compiler.h's.
#pragma once

#include "Findings.h"
#include "Format.h"
#include "Message.h"

#include <zmu/foundation/Types.h>

#include <string>
#include <vector>

namespace zmu_tools {

struct Argument {
    std::string name;
    Kind kind;
    bool isKindKnown = true;
    int longest = 0; ///< Of a text, in characters; 0 if nobody has told.
    Place place;
};

struct PlugIn {
    std::string name;
    int row; ///< In the data set's table.
};

/// What one language says of a situation. A text has its affixes with it.
struct Texts {
    Message display;
    Message log;
    std::string explanation;
    std::string action;
};

struct Situation {
    std::string name;
    Place place;
    int id = 0;
    std::vector<Argument> arguments;
    bool isRecorded = false;
    int approvalKind = 2;
    zmu::i64 traits = 0;
    std::vector<PlugIn> plugIns;
    bool showsLogText = false; ///< The display has no text of its own but the log's.
    unsigned style = 0;
    int wrap = -1;            ///< -1: the data set's width.
    std::vector<Texts> texts; ///< By language.
    bool isSound = true;      ///< Nothing is wrong with it so far.
};

struct Language {
    std::string tag;  ///< For instance "en" or "pt-BR".
    std::string file; ///< As the command line names it.
};

struct Catalog {
    std::string name;                ///< Of header and modules: the file's, without ".toml".
    std::string nameSpace;           ///< Of what the header declares.
    int room = 0;                    ///< Elements that the log has for a description.
    std::vector<Language> languages; ///< The first is the one that the others translate.
    std::vector<PlugIn> plugIns;
    std::vector<Situation> situations; ///< As the file has them.
};

/// A file and its content.
struct CatalogFile {
    std::string path;
    std::string content;
};

/// Reads a catalogue, and its translations, whose files are called NAME.LANGUAGE.toml. With errors
/// among the findings only the situations that are sound can be looked at.
Catalog readCatalog(const CatalogFile& first, const std::vector<CatalogFile>& translations,
                    Findings& findings);

/// Tag of the language that the file name of a translation tells; empty if it tells none.
std::string languageOf(const std::string& path);

} // namespace zmu_tools
