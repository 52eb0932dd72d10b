// Modules by the product's names, on top of the dynamic loader.
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/ModuleFiles.h>

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

using namespace zmu;

namespace {

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

bool isProgramFile(const std::string& path)
{
    struct stat file = {};
    struct stat program = {};
    return stat(path.c_str(), &file) == 0 && stat("/proc/self/exe", &program) == 0 &&
           file.st_dev == program.st_dev && file.st_ino == program.st_ino;
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

Reference loadBeside(const std::string& path, const FilePattern& pattern)
{
    Reference module;
    visitFiles(folderOf(path), pattern, [&module](const std::string& file) {
        module = load(file);
        return module != nullptr;
    });
    return module;
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

/// The path without empty parts, "." and what ".." takes back.
std::string normalized(std::string_view path)
{
    std::string result;
    while (!path.empty()) {
        const std::string_view part = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(part.size() + 1, path.size()));
        if (part == "..")
            result.resize(std::min(result.rfind('/'), result.size()));
        else if (!part.empty() && part != ".")
            result.append(1, '/').append(part);
    }
    return result;
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
    if (isAbsolute(map->l_name))
        return normalized(map->l_name);
    char folder[PATH_MAX];
    if (dlinfo(module, RTLD_DI_ORIGIN, folder) != 0)
        return map->l_name;
    return normalized(std::string(folder).append(1, '/').append(fileOf(map->l_name)));
}

/// The frame of the public operations: every failure of `body` is a null with the last error.
template <typename Body>
Reference guarded(Body body)
{
    return withoutThrowing([&] {
        Reference module = body();
        if (!module)
            SetLastError(ERROR_MOD_NOT_FOUND);
        return module;
    });
}

/// What a look-up found: the handle outlives this reference.
HMODULE handleOf(const Reference& module)
{
    return static_cast<HMODULE>(module.get());
}

} // namespace

HMODULE GetModuleHandleW(const wchar_t* name)
{
    return handleOf(
        guarded([name] { return name ? findLoaded(toModuleName(name)) : openProgram(); }));
}

HMODULE GetModuleHandleA(const char* name)
{
    return handleOf(
        guarded([name] { return name ? findLoaded(toModuleName(name)) : openProgram(); }));
}

HMODULE LoadLibraryW(const wchar_t* name)
{
    Reference module =
        guarded([name] { return name ? findOrLoad(toModuleName(name)) : Reference(); });
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
    return withoutThrowing([=]() -> DWORD {
        const std::wstring path = widen(pathOf(module));
        if (path.empty()) {
            SetLastError(ERROR_MOD_NOT_FOUND);
            return 0;
        }
        const auto whole = static_cast<DWORD>(path.size());
        if (whole >= size)
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
        if (size != 0)
            output[path.copy(output, size - 1)] = L'\0';
        return std::min(whole, size);
    });
}

int LoadStringW(HINSTANCE, UINT, wchar_t*, int)
{
    return 0;
}

int LoadStringA(HINSTANCE, UINT, char*, int)
{
    return 0;
}
