// Modules that come and go, and what they leave open.
#pragma once

#include <climits>
#include <string>
#include <string_view>

#include <dirent.h>
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

/// Whether the library stays for as long as a thread lives that has used it.
inline constexpr bool staysWithThreads = true;

inline void* load(const char* file)
{
    return dlopen(file, RTLD_NOW);
}

inline bool unload(void* module)
{
    return dlclose(module) == 0;
}

inline void* find(void* module, const char* name)
{
    return dlsym(module, name);
}

inline bool isLibraryLoaded()
{
    const auto isOurs = [](dl_phdr_info* module, std::size_t, void*) -> int {
        return std::string_view(module->dlpi_name).find("/libzmu.so") != std::string_view::npos;
    };
    return dl_iterate_phdr(isOurs, nullptr) != 0;
}

/// Whether a file of `directory` is open.
inline bool isFileOpenIn(const std::string& directory)
{
    bool isOpen = false;
    DIR* const files = opendir("/proc/self/fd");
    while (const dirent* entry = readdir(files)) {
        char target[PATH_MAX] = {};
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        if (readlink(link.c_str(), target, sizeof target - 1) > 0 &&
            std::string_view(target).starts_with(directory))
            isOpen = true;
    }
    closedir(files);
    return isOpen;
}
