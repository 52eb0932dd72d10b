// Modules that come and go, and what they leave open.
#pragma once

#include <filesystem>
#include <string>

#include <windows.h>

/// Whether the library stays for as long as a thread lives that has used it.
inline constexpr bool staysWithThreads = false;

inline HMODULE load(const char* file)
{
    return LoadLibraryA(file);
}

inline bool unload(HMODULE module)
{
    return FreeLibrary(module);
}

inline void* find(HMODULE module, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(module, name));
}

inline bool isLibraryLoaded()
{
    return GetModuleHandleA("zmu.dll") != nullptr;
}

/// Whether a file of `directory` is open.
inline bool isFileOpenIn(const std::string& directory)
{
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const HANDLE file =
            CreateFileW(entry.path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return true;
        CloseHandle(file);
    }
    return false;
}
