// Modules in the format of this system, read as data. Files come from anywhere, so every offset and
// count is checked, and what one file can cost is limited.
#pragma once

#include <zmu/platform/InputFile.h>

#include <string>
#include <string_view>
#include <vector>

namespace zmu {

/// Descriptors of a module's notes of that name, which counts with its terminator, and type. None
/// for a file that is no module in the word size and byte order of this process.
std::vector<std::string> readNotes(const InputFile& file, std::string_view name, unsigned type);

/// The name by which other modules ask for this one; empty if it has none.
std::string readSoname(const InputFile& file);

} // namespace zmu
