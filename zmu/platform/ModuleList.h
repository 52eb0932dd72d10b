// The modules that a report lists, and where this platform keeps them. Any thread; nothing throws
// but for a lack of memory.
#pragma once

#include <memory>
#include <span>
#include <string>

namespace zmu::modules {

/// Where a module is expected.
enum class Home {
    Program, ///< The folder of the process's program.
    System,  ///< That of the system's libraries.
    Drivers, ///< That of the system's drivers.
};
inline constexpr int homesQty = 3;

struct Listed {
    const wchar_t* file; ///< Null is the running kernel.
    Home home;
};

/// The list that stands unless a file replaces it.
std::span<const Listed> builtInList();
/// What the running kernel is listed as when kernelName() does not tell.
Listed kernelRow();

/// The home of drivers; empty when it is not known. That of the system's libraries is
/// machine::systemDirectory().
std::wstring driverDirectory();
/// Full path of a driver that is not at its place in that home under its own name: compressed, or
/// with the drivers that were added. Empty when there is none.
std::wstring otherDriverFile(const std::wstring& file);
/// File name of the running kernel; empty when the system does not tell.
std::wstring kernelName();
/// What the file of a module is called here: outside Windows "x.dll" is "libx.so", "x.exe" is "x".
std::wstring fileName(const std::wstring& module);

/// Looks for files wherever the system would look for a module or a program to start. Remembers
/// what folders hold: for one report.
class Finder {
  public:
    Finder();
    ~Finder();
    Finder(const Finder&) = delete;
    Finder& operator=(const Finder&) = delete;

    /// Full path; empty when there is no such file.
    std::wstring find(const wchar_t* file);

  private:
    struct Folders;
    std::unique_ptr<Folders> m_folders;
};

} // namespace zmu::modules
