#include <zmu/platform/ModuleList.h>

#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/ModuleFiles.h>
#include <zmu/platform/linux/SystemFiles.h>

#include <QByteArray>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>
#include <vector>

namespace zmu::modules {

namespace {

using enum Home;

#if defined(__x86_64__)
constexpr wchar_t loader[] = L"ld-linux-x86-64.so.2";
#elif defined(__aarch64__)
constexpr wchar_t loader[] = L"ld-linux-aarch64.so.1";
#elif defined(__riscv)
constexpr wchar_t loader[] = L"ld-linux-riscv64-lp64d.so.1";
#else
constexpr wchar_t loader[] = L"ld.so";
#endif

// The product's modules, and in the places of Windows' own what does their work here.
// clang-format off
constexpr Listed list[] = {
    {L"libad.so", Program}, {L"aps", Program}, {L"libblm.so", Program}, {L"libclipc4.so", Program},
    {L"libclips.so", Program}, {L"libcm.so", Program}, {L"cm", Program}, {L"libcplc4.so", Program},
    {L"libcpls.so", Program}, {L"libcs4.so", Program}, {L"libcs4s3.so", Program}, {L"libcs4u.so", Program},
    {L"libdc4.so", Program}, {L"libds.so", Program}, {L"libfilec4.so", Program}, {L"libfiles.so", Program},
    {L"libga.so", Program}, {L"libzgdd.so", System}, {L"libzglocress.so", Program}, {L"libzgperf.so", System},
    {L"libZrPrintMon.so", Program}, {L"zgse.ko", Drivers}, {L"libZGSetupHelper.so", Program}, {L"zg-client", Program},
    {L"Logon", Program}, {L"libzbr4.so", Program}, {L"libzbr4u.so", Program}, {L"libzmu.so", Program},
    {L"libZrPrintClient.so", Program}, {L"libpv.so", Program}, {L"libpw.so", Program}, {L"pw", Program},
    {L"libComponents.so", Program}, {L"libsc4.so", Program}, {L"libscres4.so", Program}, {L"libsmc.so", Program},
    {L"libskin.so", Program}, {L"libsms.so", Program}, {L"libsndc4.so", Program}, {L"libsnds.so", Program},
    {L"lmgrd", Program}, {L"lmtools", Program},
    {L"libsystemd.so.0", System},   // advapi32.dll: services, records of events
    {L"libQt6Widgets.so.6", System}, // comctl32.dll: controls
    {L"libQt6Gui.so.6", System},    // comdlg32.dll: dialogs
    {L"libc.so.6", System},         // kernel32.dll: the system's calls
    {L"libstdc++.so.6", System},    // ole32.dll: objects
    {L"libm.so.6", System},         // pdh.dll: figures
    {L"libgcc_s.so.1", System},     // psapi.dll: a process's own state
    {L"libQt6Core.so.6", System},   // shell32.dll: files and folders
    {L"libresolv.so.2", System},    // wsock32.dll: the network
    {L"libxcb.so.1", System},       // user32.dll: windows
    {L"libfreetype.so.6", System},  // gdi32.dll: drawing
    {loader, System},               // ntdll.dll
    {L"libVBM_UserMode.so", Program}, {nullptr, System}, {L"VBM_NTOSKRNL.ko", Drivers},
    {L"gpu/drm/drm.ko", Drivers},   // win32k.sys: the display
    {L"VBM_WIN32K.ko", Drivers},
};
// clang-format on
static_assert(std::size(list) == 59);

constexpr char modulesFolder[] = "/lib/modules/";

bool isFile(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string release()
{
    utsname names = {};
    return uname(&names) == 0 ? names.release : "";
}

} // namespace

std::span<const Listed> builtInList()
{
    return list;
}

Listed kernelRow()
{
    return {L"vmlinuz", System};
}

std::wstring driverDirectory()
{
    const std::string kernel = release();
    return kernel.empty() ? std::wstring() : widen(modulesFolder + kernel + "/kernel/drivers");
}

std::wstring otherDriverFile(const std::wstring& file)
{
    const std::string kernel = release();
    return kernel.empty() ? std::wstring()
                          : widen(findDriver(modulesFolder + kernel, narrow(file)));
}

std::wstring kernelName()
{
    const std::string kernel = release();
    return kernel.empty() ? std::wstring() : widen("vmlinuz-" + kernel);
}

std::wstring fileName(const std::wstring& module)
{
    return widen(patternOf(narrow(module)).name);
}

// ---- Looking for files ---------------------------------------------------------------------------

/// The loader's folders, with what is in the product's own, and behind them those of programs.
struct Finder::Folders {
    struct Own {
        std::string path;
        std::vector<std::string> files{}; ///< Those with a version behind their names.
    };
    std::vector<Own> own;
    std::vector<std::string> all;

    Folders()
    {
        for (const std::string& file : {programPath(), libraryPath()}) {
            all.emplace_back(folderOf(file));
            own.push_back(list(all.back()));
        }
        for (const std::string& folder : systemFolders())
            all.push_back(folder + '/');
        const QByteArray path = qgetenv("PATH");
        for (std::string_view rest(path.constData(), static_cast<std::size_t>(path.size()));
             !rest.empty();) {
            const std::string_view folder = rest.substr(0, rest.find(':'));
            rest.remove_prefix(std::min(folder.size() + 1, rest.size()));
            all.push_back(std::string(folder) + '/');
        }
        std::erase_if(all, [](const std::string& folder) { return !isAbsolute(folder); });
    }

    static Own list(const std::string& path)
    {
        Own folder{path};
        const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(path.c_str()), closedir);
        while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
            if (std::strstr(entry->d_name, ".so."))
                folder.files.emplace_back(entry->d_name);
        }
        return folder;
    }
};

Finder::Finder() = default;
Finder::~Finder() = default;

std::wstring Finder::find(const wchar_t* file)
{
    if (!m_folders)
        m_folders = std::make_unique<Folders>();
    const std::string name = narrow(file);
    for (const std::string& folder : m_folders->all) {
        if (isFile(folder + name))
            return widen(folder + name);
    }
    // With a version behind its name: the newest one.
    const FilePattern pattern{name, name.ends_with(".so")};
    for (const auto& [folder, files] : m_folders->own) {
        const std::string* newest = nullptr;
        for (const std::string& candidate : files) {
            if (pattern.matches(candidate) &&
                (!newest || strverscmp(candidate.c_str(), newest->c_str()) > 0))
                newest = &candidate;
        }
        if (newest && isFile(folder + *newest))
            return widen(folder + *newest);
    }
    return {};
}

} // namespace zmu::modules
