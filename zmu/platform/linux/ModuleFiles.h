// Where the file of a module is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zmu {

/// The file that loading the module `name` would look at first: in the program's folder, then in
/// the library's, then in those of the system; never in the current one. A name with a path is
/// taken as it is, whether there is such a file or not. Empty when nothing is found. Loads nothing.
std::string findModuleFile(const wchar_t* name);

/// The folders that findModuleFile looks in, in its order, each with its separator.
std::vector<std::string> moduleFolders();

/// What the file of a module is called: "libx.so" for "x.dll", "x" for "x.exe", others as they are.
std::string moduleFileName(const std::string& name);

/// Whether `file` is the module whose file is called `plainName`: "libx.so.2.0.1" is "libx.so".
bool isModuleFile(std::string_view file, std::string_view plainName);

} // namespace zmu
