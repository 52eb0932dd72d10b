// Where the file of a module is.
#pragma once

#include <string>

namespace zmu {

/// The file that loading the module `name` would look at first: in the program's folder, then in
/// the library's, then in those of the system; never in the current one. A name with a path is
/// taken as it is, whether there is such a file or not. Empty when nothing is found. Loads nothing.
std::string findModuleFile(const wchar_t* name);

} // namespace zmu
