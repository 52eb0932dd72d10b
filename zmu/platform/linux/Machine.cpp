// The machine, by what the kernel and the files of the system say.
#include <zmu/platform/Machine.h>

#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/Locale.h>
#include <zmu/platform/linux/SystemFiles.h>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <sys/sysmacros.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

namespace zmu::machine {

namespace {

constexpr std::size_t fileSizeMax = 0x10000;
constexpr std::size_t mountsSizeMax = 0x400000;

/// What has no counterpart here.
template <class Answer>
Answer notSupported()
{
    SetLastError(ERROR_NOT_SUPPORTED);
    return Answer();
}

std::string hostName()
{
    char name[256] = {};
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

std::vector<Mount> mounts()
{
    return mountsWithinReach(readSystemFile("/proc/self/mountinfo", mountsSizeMax));
}

/// "8:1" of the block device that a mount is made from.
std::string blockDevice(const Mount& mount)
{
    struct stat status = {};
    if (!mount.device.starts_with("0:") || !mount.source.starts_with('/') ||
        stat(mount.source.c_str(), &status) != 0)
        return mount.device;
    return std::to_string(major(status.st_rdev)) + ':' + std::to_string(minor(status.st_rdev));
}

/// A disk says itself whether it is removable, a partition's disk lies above it.
bool isRemovable(const Mount& mount)
{
    const std::string folder = "/sys/dev/block/" + blockDevice(mount);
    return readSystemFile(folder + "/removable", 16).starts_with('1') ||
           readSystemFile(folder + "/../removable", 16).starts_with('1');
}

/// Containers have single files of a disk's mounted; those are no drives. What the user may not
/// look at is taken for one.
bool isDirectory(const Mount& mount)
{
    struct stat status = {};
    return stat(mount.point.c_str(), &status) != 0 || S_ISDIR(status.st_mode);
}

} // namespace

bool readMemoryStatus(MEMORYSTATUSEX& status) noexcept
{
    struct sysinfo facts = {};
    if (sysinfo(&facts) != 0)
        return false;
    const u64 unit = facts.mem_unit;
    status = {sizeof status, facts.totalram * unit, facts.totalswap * unit, facts.freeswap * unit};
    return true;
}

bool readVersion(OSVERSIONINFOEXW& version) noexcept
{
    try {
        utsname names = {};
        KernelVersion kernel;
        if (uname(&names) != 0 || !parseKernelRelease(names.release, kernel))
            return false;
        std::string name = distributionName(readSystemFile("/etc/os-release", fileSizeMax));
        if (name.empty())
            name = distributionName(readSystemFile("/usr/lib/os-release", fileSizeMax));
        version = {sizeof version, kernel.major, kernel.minor, kernel.build, platformLinux, {}, 0};
        (name.empty() ? L"Unknown" : widen(name))
            .copy(version.szCSDVersion, std::size(version.szCSDVersion) - 1);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

Edition edition()
{
    return {};
}

bool readHotfixes(std::vector<Hotfix>& hotfixes)
{
    // What is mended in a running kernel. One that cannot be has no such folder, and no hotfixes.
    const std::string folder = "/sys/kernel/livepatch";
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(folder.c_str()), closedir);
    if (!stream)
        return errno == ENOENT;
    while (const dirent* entry = readdir(stream.get())) {
        if (entry->d_name[0] == '.')
            continue;
        const std::string enabled =
            readSystemFile(folder + '/' + entry->d_name + "/enabled", fileSizeMax);
        hotfixes.push_back({widen(entry->d_name), std::nullopt});
        if (!enabled.empty())
            hotfixes.back().installed = enabled[0] == '1' ? 1 : 0;
    }
    std::sort(hotfixes.begin(), hotfixes.end(),
              [](const Hotfix& left, const Hotfix& right) { return left.name < right.name; });
    return true;
}

std::wstring computerName()
{
    return widen(hostName());
}

std::wstring accountDomain()
{
    const std::string host = hostName();
    const std::size_t dot = host.find('.');
    if (dot != host.npos && dot + 1 < host.size())
        return widen(host.substr(dot + 1));
    char name[256] = {};
    const bool hasName = getdomainname(name, sizeof name - 1) == 0 && *name;
    if (hasName && name != std::string_view("(none)"))
        return widen(name);
    return widen(resolverDomain(readSystemFile("/etc/resolv.conf", fileSizeMax)));
}

unsigned languageID()
{
    return languageOfLocale(processLocale());
}

std::wstring windowsDirectory()
{
    return L"/usr";
}

std::wstring systemDirectory()
{
    // Where the loader found the C library, by the name that no symbolic link leads to.
    Dl_info library = {};
    char path[PATH_MAX];
    if (dladdr(reinterpret_cast<const void*>(&gethostname), &library) == 0 || !library.dli_fname ||
        !realpath(library.dli_fname, path))
        return {};
    const std::string_view file = path;
    return widen(std::string(file.substr(0, file.rfind('/'))));
}

bool listFixedDrives(std::vector<std::wstring>& drives, std::wstring&)
{
    const auto isFixed = [](const Mount& mount) {
        return !isRemovable(mount) && isDirectory(mount);
    };
    for (const Mount& mount : fixedMounts(mounts(), isFixed))
        drives.push_back(widen(mount.point));
    return true;
}

std::optional<u64> freeBytes(const std::wstring& drive)
{
    struct statvfs status = {};
    if (statvfs(narrow(drive).c_str(), &status) != 0)
        return std::nullopt;
    return u64{status.f_bfree} * status.f_frsize;
}

std::wstring fileSystem(const std::wstring& drive)
{
    for (const Mount& mount : mounts()) {
        if (widen(mount.point) == drive)
            return widen(mount.type);
    }
    return {};
}

Processor processor()
{
    const ProcessorFacts facts = processorFacts(readSystemFile("/proc/cpuinfo", fileSizeMax));
    Processor processor;
    if (!facts.vendor.empty())
        processor.vendor = widen(facts.vendor);
    else if (!facts.model.empty())
        processor.vendor = L"Unknown"; // as on POWER, where the rest is told
    if (!facts.model.empty())
        processor.identifier = widen(facts.model);
    processor.megahertz = facts.megahertz;
    return processor;
}

unsigned processorCount()
{
    const long count = sysconf(_SC_NPROCESSORS_ONLN);
    return count > 0 ? static_cast<unsigned>(count) : 0;
}

std::vector<std::wstring> environment()
{
    std::map<std::wstring, std::wstring> variables;
    for (char** next = environ; next && *next; ++next) {
        const std::string_view variable = *next;
        const std::size_t sign = variable.find('=');
        if (sign != variable.npos && sign != 0)
            variables[widen(variable.substr(0, sign))] = widen(variable);
    }
    std::vector<std::wstring> all;
    for (auto& [name, variable] : variables)
        all.push_back(std::move(variable));
    return all;
}

std::wstring subsystemCommandLine()
{
    return notSupported<std::wstring>();
}

} // namespace zmu::machine
