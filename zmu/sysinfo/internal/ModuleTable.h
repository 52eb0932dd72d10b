// The modules of one report: the list of the platform, or the one that a file puts in its place.
#pragma once

#include <zmu/platform/ModuleList.h>

#include <string>
#include <string_view>
#include <vector>

namespace zmu {

class ModuleTable {
  public:
    struct Row {
        std::wstring file; ///< A name or a full path; empty is the running kernel.
        modules::Home home;
    };

    /// Reads the file beside the library, if there is one with a row in it.
    ModuleTable();

    const std::vector<Row>& rows() const { return m_rows; }
    modules::Finder& finder() { return m_finder; }

  private:
    std::vector<Row> m_rows;
    modules::Finder m_finder;
};

/// The rows of a list's text in UTF-8. Lines that are none, and those behind the first 64 KiB or
/// 1000 rows, are told to the debug output, by the list's path.
std::vector<ModuleTable::Row> parseModuleList(std::string_view text, const std::wstring& path);

} // namespace zmu
