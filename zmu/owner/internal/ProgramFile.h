// Where the program is.
#pragma once

#include <string>

namespace zmu {

/// Name of the program's file without its directory; empty if nobody knows it. Needs no
/// QCoreApplication.
std::wstring programFileName();
/// The directory that it lies in, with slashes; empty if nobody knows it.
std::wstring programDirectory();

/// What the file or directory `path` lies in, without a separator at its end unless it is a root.
std::wstring parentOf(const std::wstring& path);

} // namespace zmu
