// What the platform says about the machine: the sources of the operating environment.
//
// A function that answers with a text gives an empty one, and one that answers with a number 0,
// when the platform cannot tell; languageID and the two directories then leave the reason as the
// last error. Apart from a lack of memory, which throws, nothing fails otherwise. Any thread.
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/platform/Win32.h>

#include <optional>
#include <string>
#include <vector>

namespace zmu::machine {

/// dwPlatformId of Linux, where Windows has 2 for all of its versions.
inline constexpr DWORD platformLinux = 100;

/// Memory at this moment; its length field is set. On Linux the page file is the swap space.
bool readMemoryStatus(MEMORYSTATUSEX& status) noexcept;

/// Version of the system; its size field is set. On Linux that of the kernel, whose third number is
/// the build, and the service pack is the distribution's name.
bool readVersion(OSVERSIONINFOEXW& version) noexcept;

/// What tells releases of Windows apart that have the same version.
struct Edition {
    bool isX64 = false;
    bool isSecondRelease = false;
};
Edition edition();

struct Hotfix {
    std::wstring name;
    std::optional<DWORD> installed; ///< What is recorded of it, if anything is.
};
/// The hotfixes on record, on Linux the patches of the running kernel. False where there is no
/// record, or it cannot be read to its end.
bool readHotfixes(std::vector<Hotfix>& hotfixes);

std::wstring computerName();
/// Domain that the machine knows the process's account by, whatever the environment says.
std::wstring accountDomain();

/// Of the system; on Linux that of the process's locale.
unsigned languageID();
/// On Linux /usr, and the folder of the loader's libraries.
std::wstring windowsDirectory();
std::wstring systemDirectory();

/// The fixed drives, in order, as captions show them: "C:", or mount points. `present` is the drive
/// to ask where none is fixed. False when the drives cannot be listed.
bool listFixedDrives(std::vector<std::wstring>& drives, std::wstring& present);
/// Free bytes of a drive, also of those that the user may not have.
std::optional<u64> freeBytes(const std::wstring& drive);
/// Name of a drive's file system.
std::wstring fileSystem(const std::wstring& drive);

struct Processor {
    std::optional<std::wstring> vendor;
    std::optional<std::wstring> identifier;
    DWORD megahertz = 0; ///< 0 if unknown.
};
Processor processor();
/// Processors that are at work.
unsigned processorCount();

/// The environment of the process, "NAME=VALUE" each, sorted by name.
std::vector<std::wstring> environment();

/// Command line of the windowing subsystem, which holds the sizes of its heaps.
std::wstring subsystemCommandLine();

} // namespace zmu::machine
