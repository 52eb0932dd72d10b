// What the reader of a catalogue and that of its translations know of each other.
#pragma once

#include "Catalog.h"

#include <functional>
#include <map>
#include <string>

namespace zmu_tools {

/// The text that one affix puts before or behind.
struct Affix {
    Message display;
    Message log;
};
using Affixes = std::map<std::string, Affix, std::less<>>;

/// The names of affixes that a situation has in front of its texts and behind them.
struct AffixNames {
    std::string prefix;
    std::string suffix;
};

/// What a translation needs of the first language besides the catalogue.
struct FirstLanguage {
    Affixes affixes;
    std::map<std::string, AffixNames> affixNames; ///< By situation.
};

/// Reads a translation, and adds to `catalog` what it says.
void readTranslation(const CatalogFile& file, const FirstLanguage& first, Catalog& catalog,
                     Findings& findings);

/// The part of a path behind the last separator, without ".toml".
std::string baseName(const std::string& path);

} // namespace zmu_tools
