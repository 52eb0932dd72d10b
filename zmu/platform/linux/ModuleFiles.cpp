#include <zmu/platform/linux/ModuleFiles.h>

#include <zmu/platform/ModulePlaces.h>
#include <zmu/platform/linux/BriefLock.h>
#include <zmu/platform/linux/Conversion.h>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <memory>
#include <optional>

using namespace zmu;

namespace {

constexpr char programLink[] = "/proc/self/exe";

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};

/// What a folder was when it was looked at. Another file in it gives it another time.
struct FolderState {
    dev_t device = 0;
    ino_t number = 0;
    timespec changed{};

    bool operator==(const FolderState& other) const
    {
        return device == other.device && number == other.number &&
               changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
    }
};

std::optional<FolderState> stateOf(const std::string& folder)
{
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
        return std::nullopt;
    return FolderState{status.st_dev, status.st_ino, status.st_mtim};
}

/// Whether whatever happens to the folder from now on gives it another time: clocks of file systems
/// are coarse.
bool isSettled(const FolderState& state)
{
    constexpr time_t coarsestClock = 2; // seconds
    return state.changed.tv_sec + coarsestClock < time(nullptr);
}

std::vector<std::string> listVersions(const std::string& folder, const FilePattern& pattern)
{
    std::vector<std::string> files;
    const std::unique_ptr<DIR, FolderCloser> entries(opendir(folder.c_str()));
    while (const dirent* const entry = entries ? readdir(entries.get()) : nullptr) {
        const std::string_view file = entry->d_name;
        if (file.size() > pattern.name.size() && pattern.matches(file))
            files.emplace_back(file);
    }
    std::sort(files.begin(), files.end(), [](const std::string& left, const std::string& right) {
        return strverscmp(left.c_str(), right.c_str()) > 0;
    });
    return files;
}

/// The listings that were made last, hits and misses.
class Listings {
  public:
    bool find(std::string_view folder, const FolderState& state, const std::string& name,
              std::vector<std::string>& files)
    {
        const BriefLock lock;
        for (const Entry& entry : m_entries) {
            if (entry.name == name && entry.folder == folder && entry.state == state) {
                files = entry.files;
                return true;
            }
        }
        return false;
    }

    void remember(std::string_view folder, const FolderState& state, const std::string& name,
                  const std::vector<std::string>& files)
    {
        Entry fresh{std::string(folder), name, state, files};
        const BriefLock lock;
        Entry* const same =
            std::find_if(std::begin(m_entries), std::end(m_entries), [&](const Entry& entry) {
                return entry.name == name && entry.folder == folder;
            });
        if (same != std::end(m_entries)) {
            std::swap(*same, fresh);
        } else {
            std::swap(m_entries[m_next], fresh);
            m_next = (m_next + 1) % std::size(m_entries);
        }
    }

  private:
    struct Entry {
        std::string folder;
        std::string name;
        FolderState state{};
        std::vector<std::string> files;
    };

    Entry m_entries[128]; ///< A module name in a loader's ten folders, for a dozen names.
    std::size_t m_next = 0;
};

Listings listings;

struct HandleCloser {
    void operator()(void* handle) const { dlclose(handle); }
};

/// False if the loader does not tell.
bool learnSystemFolders(std::vector<std::string>& folders)
{
    const std::unique_ptr<void, HandleCloser> searcher(
        dlopen(libraryPath().c_str(), RTLD_LAZY | RTLD_NOLOAD));
    Dl_serinfo needed{};
    if (!searcher || dlinfo(searcher.get(), RTLD_DI_SERINFOSIZE, &needed) != 0)
        return false;
    const std::unique_ptr<void, void (*)(void*)> memory(operator new(needed.dls_size),
                                                        [](void* p) { operator delete(p); });
    auto* const list = static_cast<Dl_serinfo*>(memory.get());
    *list = needed;
    if (dlinfo(searcher.get(), RTLD_DI_SERINFO, list) != 0)
        return false;
    const Dl_serpath* const paths = list->dls_serpath;
    for (unsigned i = 0; i < list->dls_cnt; ++i)
        folders.emplace_back(paths[i].dls_name);
    return true;
}

std::atomic<bool> areSystemFoldersKnown = false;
std::vector<std::string> knownSystemFolders; ///< Once known, never again another.
const std::vector<std::string> noFolders;

} // namespace

// ---- Names -----------------------------------------------------------------------------------------------

bool FilePattern::matches(std::string_view file) const
{
    if (!file.starts_with(name))
        return false;
    const std::string_view version = file.substr(name.size());
    return version.empty() || (takesVersion && version.size() > 1 && version.front() == '.' &&
                               version.find_first_not_of(".0123456789") == std::string_view::npos);
}

FilePattern zmu::patternOf(std::string_view name)
{
    if (name.ends_with(".dll"))
        return {"lib" + std::string(name.substr(0, name.size() - 4)) + ".so", true};
    if (name.ends_with(".exe"))
        return {std::string(name.substr(0, name.size() - 4)), false};
    return {std::string(name), false};
}

bool zmu::isPath(std::string_view name)
{
    return name.find('/') != std::string_view::npos;
}

bool zmu::isAbsolute(std::string_view path)
{
    return path.starts_with('/');
}

std::string_view zmu::fileOf(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string_view zmu::folderOf(std::string_view path)
{
    return isAbsolute(path) ? path.substr(0, path.rfind('/') + 1) : std::string_view();
}

std::string zmu::toModuleName(const wchar_t* name)
{
    const std::size_t length = wcsnlen(name, PATH_MAX);
    return length == PATH_MAX ? std::string() : narrow({name, length});
}

std::string zmu::toModuleName(const char* name)
{
    const std::size_t length = strnlen(name, PATH_MAX);
    return length == PATH_MAX ? std::string() : std::string(name, length);
}

bool zmu::exists(const std::string& path)
{
    return access(path.c_str(), F_OK) == 0;
}

// ---- Places ----------------------------------------------------------------------------------------------

std::string zmu::programPath()
{
    char path[PATH_MAX];
    const ssize_t length = readlink(programLink, path, sizeof path);
    if (length <= 0)
        return {};
    std::string_view result(path, static_cast<std::size_t>(length));
    // What the kernel appends after the file was replaced by an update.
    constexpr std::string_view removed = " (deleted)";
    if (result.ends_with(removed))
        result.remove_suffix(removed.size());
    return std::string(result);
}

std::string zmu::libraryPath()
{
    static const char ourOwn = 0;
    Dl_info info{};
    return dladdr(&ourOwn, &info) != 0 && info.dli_fname ? info.dli_fname : "";
}

const std::vector<std::string>& zmu::systemFolders()
{
    if (areSystemFoldersKnown.load(std::memory_order_acquire))
        return knownSystemFolders;
    // Not under the lock: the loader has one of its own, which is held while a module is loaded,
    // and that module may come here.
    std::vector<std::string> folders;
    if (!learnSystemFolders(folders))
        return noFolders;
    const BriefLock lock;
    if (!areSystemFoldersKnown.load(std::memory_order_relaxed)) {
        knownSystemFolders.swap(folders);
        areSystemFoldersKnown.store(true, std::memory_order_release);
    }
    return knownSystemFolders;
}

bool zmu::isSystemSearchAbsolute()
{
    const std::vector<std::string>& folders = systemFolders();
    return !folders.empty() && std::all_of(folders.begin(), folders.end(), isAbsolute);
}

// ---- Files -----------------------------------------------------------------------------------------------

std::vector<std::string> zmu::versionsIn(std::string_view folder, const FilePattern& pattern)
{
    std::vector<std::string> files;
    const std::string path(folder);
    const std::optional<FolderState> state = stateOf(path);
    if (!state || listings.find(folder, *state, pattern.name, files))
        return files;
    files = listVersions(path, pattern);
    if (isSettled(*state))
        listings.remember(folder, *state, pattern.name, files);
    return files;
}

std::string zmu::findModuleFile(const wchar_t* name)
{
    std::string file = toModuleName(name);
    if (isPath(file))
        return file;
    const FilePattern pattern = patternOf(file);
    const auto take = [&file](const std::string& path) {
        file = path;
        return true;
    };
    if (visitFiles(folderOf(programPath()), pattern, take) ||
        visitFiles(folderOf(libraryPath()), pattern, take))
        return file;
    for (const std::string& folder : systemFolders()) {
        if (visitFiles(folder + '/', pattern, take))
            return file;
    }
    return {};
}

std::wstring zmu::modulePlaces()
{
    std::string places(folderOf(programPath()));
    places.append(", ").append(folderOf(libraryPath()));
    if (isSystemSearchAbsolute()) {
        for (const std::string& folder : systemFolders())
            places.append(", ").append(folder);
    } else {
        places.append(" and, since LD_LIBRARY_PATH has a folder that is empty or relative, no "
                      "other");
    }
    return widen(places);
}
