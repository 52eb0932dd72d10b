// Which file a module's name stands for, and where such files are.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zmu {

/// The files that a module name stands for.
struct FilePattern {
    std::string name;
    bool takesVersion = false; ///< "NAME.2.0.1" is the module as well.

    /// Whether `file`, a name without a folder, is the module.
    bool matches(std::string_view file) const;
};

/// "x.dll" is "libx.so" with any version, "x.exe" is "x"; any other name is itself. The pattern's
/// name is empty for a name that no file can have.
FilePattern patternOf(std::string_view name);

bool isPath(std::string_view name);
bool isAbsolute(std::string_view path);
/// The name of a file without its folder.
std::string_view fileOf(std::string_view path);
/// The folder of a file, with its separator; empty if that is not known from the root on.
std::string_view folderOf(std::string_view path);

/// `name` in the file system's encoding; empty for one that no file can have.
std::string toModuleName(const wchar_t* name);
std::string toModuleName(const char* name);

/// Path of the program's file; empty if nobody knows it.
std::string programPath();
/// Path of the library's file, as the loader was told it.
std::string libraryPath();
/// The folders that the loader searches for the library's sake, in its order; none if it does not
/// tell them. Found out once.
const std::vector<std::string>& systemFolders();
/// Whether the loader may be given a name without a path. It also searches relative folders of its
/// search path (an empty element of LD_LIBRARY_PATH is one), from the current folder.
bool isSystemSearchAbsolute();

/// The files of `folder`, which ends in a separator, that are the module and have a version, the
/// newest first. What was listed is remembered for as long as the folder does not change.
std::vector<std::string> versionsIn(std::string_view folder, const FilePattern& pattern);

/// Calls `visit` with the path of each file in `folder` that may be the module, the one without a
/// version first, until it answers true. Whether it did. The folder is only listed for versions.
template <class Visit>
bool visitFiles(std::string_view folder, const FilePattern& pattern, Visit visit);

/// The file that loading the module `name` would look at first: in the program's folder, then in
/// the library's, then in those of the system; never in the current one. A name with a path is
/// taken as it is, whether there is such a file or not. Empty when nothing is found. Loads nothing.
std::string findModuleFile(const wchar_t* name);

// ---- Implementation --------------------------------------------------------------------------------------

/// Whether there is something of that name.
bool exists(const std::string& path);

template <class Visit>
bool visitFiles(std::string_view folder, const FilePattern& pattern, Visit visit)
{
    if (!isAbsolute(folder) || pattern.name.empty())
        return false;
    const std::string plain = std::string(folder).append(pattern.name);
    if (exists(plain) && visit(plain))
        return true;
    if (!pattern.takesVersion)
        return false;
    for (const std::string& file : versionsIn(folder, pattern)) {
        if (visit(std::string(folder).append(file)))
            return true;
    }
    return false;
}

} // namespace zmu
