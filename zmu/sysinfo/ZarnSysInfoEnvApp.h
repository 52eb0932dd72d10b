// ZarnSysInfoEnvApp: which build of each module of the product, and of what it stands on, is on the
// machine.
//
//     ZarnSysInfoEnvApp modules;
//     wchar_t version[64];
//     modules.getDataPair(448 + 1, nullptr, version, 0, 64); // of the library itself
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>
#include <zmu/sysinfo/ZarnSysInfo.h>

#include <memory>

namespace zmu {
class InputFile;
class ModuleTable;
} // namespace zmu

/// Where a module is looked for first.
enum ZarnSysInfoEnvApp_HOME_DIR_ID : int {
    ZarnSysInfoEnvApp_HOME_DIR_PROGRAM = 0, ///< The folder of the process's program.
    ZarnSysInfoEnvApp_HOME_DIR_SYSTEM = 1,  ///< That of the system's libraries.
    ZarnSysInfoEnvApp_HOME_DIR_DRIVERS = 2, ///< That of the system's drivers.
};

/// The application environment: seven pairs for each of 59 modules. A position is the number of a
/// module, 16 for the first, 32 for the next and so on, plus that of an item:
///
///     1 file version     3 checksum      5 date, UTC     7 size
///     2 version          4 time stamp    6 location
///
/// No module is loaded, and none of its code runs: its file is looked for in the module's home,
/// then wherever the system looks for modules and programs, and is read as data. A module that is
/// not there is reported all the same: its location is where it was expected, all else "Unknown".
/// So is the running kernel, whose file is not looked at when the system tells its name.
///
/// Outside Windows a module without version data shows the version of its soname, the checksum is
/// the build ID, and there is no time stamp. Which modules are listed: zmu/platform/linux and
/// windows/ModuleList.cpp, or the text file "zmu-modules.txt" beside the library, in UTF-8, with a
/// home and a file on each line ("program ad.dll", "system libssl.so.3", "drivers zgse.ko",
/// "kernel"; a full path stands for itself), and comments after "#". A line that is none of these
/// is passed over and told to the debug output.
///
/// A source keeps one file open at most, that of the module in hand, until the next module, another
/// walk or its own end. Construction may throw std::bad_alloc.
class ZMU_API ZarnSysInfoEnvApp : public ZarnSysInfo {
  public:
    ZarnSysInfoEnvApp();
    ~ZarnSysInfoEnvApp() override;

    /// The last error is cleared. During a walk the module in hand is reported, whichever module
    /// `position` names; else that module is opened for this call alone.
    bool getDataPair(int position, wchar_t* caption, wchar_t* datum, int captionSize,
                     int datumSize) override;
    /// Begins the walk again with the first module.
    bool getFirstDataPair(wchar_t* caption, wchar_t* datum, int captionSize,
                          int datumSize) override;
    bool getNextDataPair(wchar_t* caption, wchar_t* datum, int captionSize, int datumSize) override;

  protected:
    bool learnNextPosition() override;

  private:
    class Item;
    static constexpr std::size_t pathCapacity = 261;
    static constexpr std::size_t textCapacity = 4096;

    bool learnModuleDataPairDeterminants(zmu::ulong32 module);
    void forgetModuleDataPairDeterminants();
    bool learnModuleFileNomenclature(int module);
    bool learnModuleHomeDirectory(ZarnSysInfoEnvApp_HOME_DIR_ID id);
    bool isModule(int module) const;

    std::unique_ptr<zmu::ModuleTable> m_table;
    std::unique_ptr<zmu::InputFile> m_file;
    wchar_t m_moduleName[pathCapacity] = {}; ///< Empty while no module is held.
    wchar_t m_modulePath[pathCapacity] = {};
    wchar_t m_homeDirectories[3][pathCapacity] = {}; ///< By ID, each with a separator at its end.
    void* m_versionBlock = nullptr;
    wchar_t m_text1[textCapacity] = {};
    wchar_t m_text2[textCapacity] = {};
};
