// The files that a compiled catalogue is written to.
#pragma once

#include "Compiler.h"

#include <string>
#include <vector>

namespace zmu_tools {

/// The header with IDs and calls. UTF-8, as all results here.
std::string headerText(const Catalog& catalog, const std::vector<CompiledSituation>& compiled);

/// Source of the module with the texts in a language: it exports the entry by which the library
/// asks for strings.
std::string moduleText(const Catalog& catalog, const std::vector<CompiledSituation>& compiled,
                       std::size_t language);

/// The same texts as a string table for the resource compiler of Windows.
std::string stringTableText(const Catalog& catalog, const std::vector<CompiledSituation>& compiled,
                            std::size_t language);

/// A page with the situations' texts, explanations and actions in a language, each below its
/// number.
std::string pageText(const Catalog& catalog, std::size_t language);

/// Name of the module with a language's texts, without prefix and suffix: the catalogue's for the
/// first, for another with that behind it, as "situations_de".
std::string moduleName(const Catalog& catalog, std::size_t language);

} // namespace zmu_tools
