// Modules by the product's names, on top of the dynamic loader.
#include <zmu/platform/linux/ModuleFiles.h>

#include <zmu/platform/Win32.h>

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr char programLink[] = "/proc/self/exe";

// ---- Names -------------------------------------------------------------------------------------

/// Which file a module name stands for.
struct FilePattern {
    std::string name;
    bool takesVersion = false; ///< "NAME.2.0.1" is the module as well.

    bool matches(std::string_view file) const
    {
        if (!file.starts_with(name))
            return false;
        const std::string_view version = file.substr(name.size());
        return version.empty() ||
               (takesVersion && version.size() > 1 && version.front() == '.' &&
                version.find_first_not_of(".0123456789") == std::string_view::npos);
    }
};

bool isPath(std::string_view name)
{
    return name.find('/') != std::string_view::npos;
}

std::string_view fileOf(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

FilePattern patternOf(std::string_view name)
{
    if (name.ends_with(".dll"))
        return {"lib" + std::string(name.substr(0, name.size() - 4)) + ".so", true};
    if (name.ends_with(".exe"))
        return {std::string(name.substr(0, name.size() - 4)), false};
    return {std::string(name), false};
}

/// The name in the loader's encoding; empty for one that no file can have.
std::string toFileName(const wchar_t* name)
{
    const auto length = static_cast<int>(wcsnlen(name, PATH_MAX));
    std::string result(4 * static_cast<std::size_t>(length), '\0');
    const int size = length == 0 || length == PATH_MAX
                         ? 0
                         : WideCharToMultiByte(CP_ACP, 0, name, length, result.data(),
                                               static_cast<int>(result.size()), nullptr, nullptr);
    result.resize(static_cast<std::size_t>(size));
    return result;
}

std::string toFileName(const char* name)
{
    const std::size_t length = strnlen(name, PATH_MAX);
    return length == PATH_MAX ? std::string() : std::string(name, length);
}

// ---- Handles -----------------------------------------------------------------------------------

struct Closer {
    void operator()(void* handle) const { dlclose(handle); }
};
/// A reference to a module that ends with the scope.
using Reference = std::unique_ptr<void, Closer>;

Reference openProgram()
{
    return Reference(dlopen(nullptr, RTLD_LAZY));
}

Reference openLoaded(const std::string& path)
{
    return Reference(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD));
}

Reference load(const std::string& path)
{
    return Reference(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
}

// ---- Where modules are -------------------------------------------------------------------------

std::string programPath()
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

std::string libraryPath()
{
    static const char ourOwn = 0;
    Dl_info info{};
    return dladdr(&ourOwn, &info) != 0 && info.dli_fname ? info.dli_fname : "";
}

bool isProgramFile(const std::string& path)
{
    struct stat file = {};
    struct stat program = {};
    return stat(path.c_str(), &file) == 0 && stat(programLink, &program) == 0 &&
           file.st_dev == program.st_dev && file.st_ino == program.st_ino;
}

/// The folders that the loader searches for the library's sake, in its order; none if it does not
/// tell them.
std::vector<std::string> systemFolders()
{
    const Reference searcher = openLoaded(libraryPath());
    Dl_serinfo needed{};
    if (!searcher || dlinfo(searcher.get(), RTLD_DI_SERINFOSIZE, &needed) != 0)
        return {};
    const std::unique_ptr<void, void (*)(void*)> memory(operator new(needed.dls_size),
                                                        [](void* p) { operator delete(p); });
    auto* const list = static_cast<Dl_serinfo*>(memory.get());
    *list = needed;
    if (dlinfo(searcher.get(), RTLD_DI_SERINFO, list) != 0)
        return {};
    std::vector<std::string> folders;
    const Dl_serpath* const paths = list->dls_serpath;
    for (unsigned i = 0; i < list->dls_cnt; ++i)
        folders.emplace_back(paths[i].dls_name);
    return folders;
}

bool isAbsolute(std::string_view path)
{
    return path.starts_with('/');
}

/// The loader also searches relative folders of its search path (an empty element of
/// LD_LIBRARY_PATH is one), which would be looked up from the current folder.
bool isSystemSearchAbsolute()
{
    const std::vector<std::string> folders = systemFolders();
    return !folders.empty() && std::all_of(folders.begin(), folders.end(), isAbsolute);
}

// ---- Looking up --------------------------------------------------------------------------------

struct LoadedSearch {
    const FilePattern& pattern;
    std::string path{}; ///< The result; empty for none.
};

/// Called by the loader for each module, the program being the one without a name.
int visitLoaded(dl_phdr_info* info, std::size_t, void* context)
{
    auto& search = *static_cast<LoadedSearch*>(context);
    const char* const path = info->dlpi_name;
    if (!path || !search.pattern.matches(fileOf(path)))
        return 0;
    try {
        search.path = path;
    } catch (const std::bad_alloc&) {
        return 0; // The loader could not be unwound through.
    }
    return 1;
}

Reference findLoaded(const std::string& name)
{
    if (isPath(name))
        return isProgramFile(name) ? openProgram() : openLoaded(name);
    const FilePattern pattern = patternOf(name);
    if (pattern.name.empty())
        return nullptr;
    if (pattern.matches(fileOf(programPath())))
        return openProgram();
    LoadedSearch search{pattern};
    dl_iterate_phdr(visitLoaded, &search);
    return search.path.empty() ? nullptr : openLoaded(search.path);
}

/// Files of `folder` that are the module, the one without a version first, then the newest.
std::vector<std::string> candidates(const std::string& folder, const FilePattern& pattern)
{
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::string file = entry->path().filename().string();
        if (pattern.matches(file))
            files.push_back(std::move(file));
    }
    std::sort(files.begin(), files.end(), [&](const std::string& left, const std::string& right) {
        const bool isPlain = left == pattern.name || right == pattern.name;
        return isPlain ? left.size() < right.size() : strverscmp(left.c_str(), right.c_str()) > 0;
    });
    return files;
}

/// The folder of a file, with its separator; empty if that is not known from the root on.
std::string folderOf(const std::string& path)
{
    return isAbsolute(path) ? path.substr(0, path.rfind('/') + 1) : std::string();
}

Reference loadBeside(const std::string& path, const FilePattern& pattern)
{
    const std::string folder = folderOf(path);
    if (folder.empty())
        return nullptr;
    for (const std::string& file : candidates(folder, pattern)) {
        if (Reference module = load(folder + file))
            return module;
    }
    return nullptr;
}

Reference findOrLoad(const std::string& name)
{
    if (Reference module = findLoaded(name))
        return module;
    if (isPath(name))
        return load(name);
    const FilePattern pattern = patternOf(name);
    if (pattern.name.empty())
        return nullptr;
    if (Reference module = loadBeside(programPath(), pattern))
        return module;
    if (Reference module = loadBeside(libraryPath(), pattern))
        return module;
    return isSystemSearchAbsolute() ? load(pattern.name) : nullptr;
}

/// Path of the file that a module was loaded from. The loader remembers the path that it was given,
/// which may have been relative, and the folder that it found.
std::string pathOf(HMODULE module)
{
    if (!module)
        return programPath();
    link_map* map = nullptr;
    if (dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || !map->l_name)
        return {};
    if (!*map->l_name)
        return programPath();
    const std::filesystem::path path(map->l_name);
    if (path.is_absolute())
        return path.lexically_normal().string();
    char folder[PATH_MAX];
    if (dlinfo(module, RTLD_DI_ORIGIN, folder) != 0)
        return path.string();
    return (std::filesystem::path(folder) / path.filename()).lexically_normal().string();
}

/// The frame of the public operations: every failure of `body` is a null with the last error.
template <typename Body>
Reference guarded(Body body)
{
    try {
        Reference module = body();
        if (!module)
            SetLastError(ERROR_MOD_NOT_FOUND);
        return module;
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

/// What a look-up found: the handle outlives this reference.
HMODULE handleOf(const Reference& module)
{
    return static_cast<HMODULE>(module.get());
}

} // namespace

std::string zmu::findModuleFile(const wchar_t* name)
{
    std::string file = toFileName(name);
    if (isPath(file))
        return file;
    const FilePattern pattern = patternOf(file);
    if (pattern.name.empty())
        return {};
    std::vector<std::string> folders = {folderOf(programPath()), folderOf(libraryPath())};
    for (std::string& folder : systemFolders())
        folders.push_back(std::move(folder) + '/');
    for (const std::string& folder : folders) {
        if (!isAbsolute(folder))
            continue;
        const std::vector<std::string> files = candidates(folder, pattern);
        if (!files.empty())
            return folder + files.front();
    }
    return {};
}

HMODULE GetModuleHandleW(const wchar_t* name)
{
    return handleOf(
        guarded([name] { return name ? findLoaded(toFileName(name)) : openProgram(); }));
}

HMODULE GetModuleHandleA(const char* name)
{
    return handleOf(
        guarded([name] { return name ? findLoaded(toFileName(name)) : openProgram(); }));
}

HMODULE LoadLibraryW(const wchar_t* name)
{
    Reference module =
        guarded([name] { return name ? findOrLoad(toFileName(name)) : Reference(); });
    return static_cast<HMODULE>(module.release());
}

HMODULE LoadLibraryExW(const wchar_t* name, void*, DWORD)
{
    return LoadLibraryW(name);
}

BOOL FreeLibrary(HMODULE module)
{
    if (!module || dlclose(module) != 0) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    return TRUE;
}

FARPROC GetProcAddress(HMODULE module, const char* name)
{
    // The loader also finds what the module depends on, and for the program's handle whatever is
    // loaded with it: only an address within the module's own mapping is its own.
    void* const address = module && name ? dlsym(module, name) : nullptr;
    dl_find_object owner{};
    link_map* map = nullptr;
    if (!address || _dl_find_object(address, &owner) != 0 ||
        dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || owner.dlfo_link_map != map) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return reinterpret_cast<FARPROC>(address);
}

DWORD GetModuleFileNameW(HMODULE module, wchar_t* output, DWORD size)
{
    try {
        const std::string path = pathOf(module);
        std::vector<wchar_t> wide(path.size() + 1);
        const int length =
            path.empty()
                ? 0
                : MultiByteToWideChar(CP_ACP, 0, path.data(), static_cast<int>(path.size()),
                                      wide.data(), static_cast<int>(wide.size()));
        if (length <= 0) {
            SetLastError(ERROR_MOD_NOT_FOUND);
            return 0;
        }
        const auto whole = static_cast<DWORD>(length);
        if (whole >= size) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            if (size != 0)
                wide[size - 1] = L'\0';
        }
        std::wmemcpy(output, wide.data(), std::min(whole + 1, size));
        return std::min(whole, size);
    } catch (const std::exception&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
}

int LoadStringW(HINSTANCE, UINT, wchar_t*, int)
{
    return 0;
}

int LoadStringA(HINSTANCE, UINT, char*, int)
{
    return 0;
}
