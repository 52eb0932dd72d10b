// ZarnSysInfoEnvOp: what there is to know of the machine and its operating system.
//
//     wchar_t domain[256];
//     GetAccountDomainW(domain, 256);
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/PlatformRoom.h>
#include <zmu/sysinfo/ZarnSysInfo.h>

#include <string>
#include <vector>

/// The operating environment. A walk gives, in this order and by position:
///
///      0 platform               7 language ID             14 page file, available
///      1 version                8 Windows directory       15 space on a fixed drive
///      2 build number           9 system directory        16 file system of that drive
///      3 further information   10 temporary directory     17 processor
///      4 hotfixes              11 physical memory         18 number of processors
///      5 computer name         12 the same again
///      6 domain                13 page file, in all
///
/// 15 and 16 come once for each fixed drive; outside Windows that is each file system on a disk of
/// the machine, by its mount point, and the page file is the swap space. Positions 22 to 24, asked
/// for directly, give the heap of the system, of a desktop and of a non-interactive desktop; they
/// exist on Windows only. There is nothing at any other position.
///
/// What cannot be learned reads "Unknown", "None" or "Unavailable", so that it does not end a walk;
/// only a failure to list the drives does. Memory and version are those at construction. Nothing
/// waits for a network, but Windows may ask it for the domain where USERDOMAIN is not set.
class ZMU_API ZarnSysInfoEnvOp : public ZarnSysInfo {
  public:
    ZarnSysInfoEnvOp();
    ~ZarnSysInfoEnvOp() override;

    /// Clears the last error after a failure that it has dealt with.
    bool getDataPair(int position, wchar_t* caption, wchar_t* datum, int captionSize,
                     int datumSize) override;

  protected:
    bool learnNextPosition() override;

  private:
    class Item;

    bool learnNumFixedDrives();
    bool learnDesktopInfo();
    void takeNextDrive();

    bool m_desktopInfoLearned = false;
    int m_perDesktopHeapKB = 0;
    int m_systemWideHeapKB = 0;
    int m_nonInteractiveHeapKB = 0;
    zmu::PlatformRoom<64> m_memoryStatus; ///< Memory; a length of 0 when it could not be read.
    bool m_fixedDrivesLearned = false;
    std::vector<std::wstring> m_fixedDrives; ///< Those still to report.
    zmu::PlatformRoom<544> m_versionInfo;    ///< Version of the system.
    std::wstring m_drive; ///< The present one, as captions show it: "C:" or "/home".
};

/// Writes the domain of the process's account, "Unknown" if there is none to be found; cut as told
/// for ZarnSysInfo. True unless there is no memory left. Any thread.
ZMU_API bool GetAccountDomainW(wchar_t* buffer, int size);
