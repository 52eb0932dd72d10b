// What the system's own text files say. The readers take a file's text and trust nothing in it:
// what is missing or broken is as if it were not there.
#pragma once

#include <zmu/platform/Win32.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zmu {

/// Text of a regular file, without the part behind `sizeMax` bytes and then without the line that
/// is cut there. Empty when it cannot be read. Never waits for another process.
std::string readSystemFile(const std::string& path, std::size_t sizeMax);

/// Path of a driver's file below the folder of one kernel's modules: at its place among those of
/// the kernel, or among those that were added; compressed or not. Empty when there is none.
std::string findDriver(const std::string& modules, const std::string& file);

/// Numbers of a kernel's release such as "6.1.0-13-amd64"; the third may be missing.
struct KernelVersion {
    DWORD major = 0;
    DWORD minor = 0;
    DWORD build = 0;
};
bool parseKernelRelease(std::string_view release, KernelVersion& version);

/// The distribution's name in the text of os-release; empty if it has none.
std::string distributionName(std::string_view osRelease);

/// The first processor in the text of /proc/cpuinfo. A text is empty, and the clock 0, that is not
/// told.
struct ProcessorFacts {
    std::string vendor;
    std::string model;
    DWORD megahertz = 0;
};
ProcessorFacts processorFacts(std::string_view cpuInfo);

/// The machine's domain in the text of resolv.conf; empty if it has none.
std::string resolverDomain(std::string_view resolvConf);

/// Name of the user with that number in the text of /etc/passwd; empty if it is not there.
std::string userNameOf(std::string_view passwd, unsigned number);

/// One line of /proc/self/mountinfo.
struct Mount {
    int id = 0;
    int parent = 0;
    /// "8:1"; the major number is 0 when the file system has no disk of its own.
    std::string device;
    std::string part; ///< Of the file system, that is mounted: "/" for all of it.
    std::string point;
    std::string type;
    std::string source;
};

/// The mounts that a path can lead to: not those that a later one hides, nor those behind one that
/// may never answer, a network's or a process's. The points of all others must be left alone.
std::vector<Mount> mountsWithinReach(std::string_view mountInfo);

/// Those of `mounts` that are on a disk, once a file system, sorted by their points. "/" is always
/// among them, on whatever it is. `isFixed` is asked about each that is on a disk not yet there.
std::vector<Mount> fixedMounts(const std::vector<Mount>& mounts,
                               const std::function<bool(const Mount&)>& isFixed);

} // namespace zmu
