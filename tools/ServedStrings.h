// Strings that the program itself serves to the library, as a resource module does.
//
//     ServedStrings strings;
//     strings[1001] = L"2~0||``Hello.`";
//     settings.setResourceModule(ServedStrings::module());
//
// The entry of a resource module, ZRLoadStringW, is exported by whatever program has this source in
// it: it must be linked with ENABLE_EXPORTS, and can have no other such entry.
#pragma once

#include <zmu/platform/Host.h>

#include <map>
#include <string>

namespace zmu_tools {

/// As long as it lives it is what the program serves on the thread that made it; one that is made
/// later stands in for it meanwhile.
class ServedStrings {
  public:
    ServedStrings();
    ~ServedStrings();
    ServedStrings(const ServedStrings&) = delete;
    ServedStrings& operator=(const ServedStrings&) = delete;

    /// The string of an ID, made if it is unknown. One that is empty exists and is empty.
    std::wstring& operator[](unsigned int id) { return m_strings[id]; }
    /// Null for an ID that is unknown.
    const std::wstring* find(unsigned int id) const;

    /// The program as a module.
    static HMODULE module();

  private:
    std::map<unsigned int, std::wstring> m_strings;
    const ServedStrings* m_outer;
};

} // namespace zmu_tools
