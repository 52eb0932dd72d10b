// A log of sample entries, to see what a form looks like.
#pragma once

#include <string>

namespace zmu_tools {

/// Writes the log `logPath`, in the place of one that is there, with the form `formPath`: entries
/// of each severity and of what a description may hold. Both paths are absolute. Returns the DX
/// code of what failed, 0 if the log is whole; it has the built-in form where the other cannot be
/// used. Nothing is traced.
int writePreview(const std::string& formPath, const std::string& logPath);

} // namespace zmu_tools
