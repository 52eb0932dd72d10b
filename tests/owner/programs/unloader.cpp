// A program that loads the library with a module and lets it go: `owner_unloader WAY GUEST
// DIRECTORY`.
#include "CrashStatus.h"

#include <chrono>
#include <cstdlib>
#include <future>
#include <string>
#include <string_view>
#include <thread>

#if defined(_WIN32)
#include <filesystem>
#include <windows.h>
#else
#include <climits>
#include <dirent.h>
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>
#endif

namespace {

std::string directory;

#if defined(_WIN32)

constexpr bool staysWithThreads =
    false; ///< The library, for as long as one lives that has used it.

HMODULE load(const char* file)
{
    return LoadLibraryA(file);
}

bool unload(HMODULE module)
{
    return FreeLibrary(module);
}

void* find(HMODULE module, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(module, name));
}

bool isLibraryLoaded()
{
    return GetModuleHandleA("zmu.dll") != nullptr;
}

/// Whether a file of `directory` is open: the monitor lives.
bool isLogOpen()
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

#else

constexpr bool staysWithThreads = true;

void* load(const char* file)
{
    return dlopen(file, RTLD_NOW);
}

bool unload(void* module)
{
    return dlclose(module) == 0;
}

void* find(void* module, const char* name)
{
    return dlsym(module, name);
}

bool isLibraryLoaded()
{
    const auto isOurs = [](dl_phdr_info* module, std::size_t, void*) -> int {
        return std::string_view(module->dlpi_name).find("/libzmu.so") != std::string_view::npos;
    };
    return dl_iterate_phdr(isOurs, nullptr) != 0;
}

bool isLogOpen()
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

#endif

void require(bool condition, int status)
{
    if (!condition)
        std::_Exit(status);
}

void checkAtEnd()
{
    require(!isLogOpen(), 9);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    const std::string_view way = argv[1];
    directory = argv[3];
    std::atexit(checkAtEnd); // before the library comes: it runs after the library's own
    const auto guest = load(argv[2]);
    require(guest != nullptr, 3);
    const auto report = reinterpret_cast<bool (*)(const char*)>(find(guest, "guestReport"));
    const auto inThread = [&] {
        std::thread([&] { require(report(directory.c_str()), 4); }).join();
    };
    const auto letGo = [&](bool stays) {
        require(isLogOpen(), 5);
        require(unload(guest), 6);
        require(isLogOpen() == stays && isLibraryLoaded() == stays, 7);
    };
    if (way == "threads have ended") {
        inThread();
        inThread();
        letGo(false);
    } else if (way == "main has reported") {
        require(report(directory.c_str()), 4);
        letGo(staysWithThreads);
    } else if (way == "thread lives on") {
        inThread();
        std::promise<void> reported, closed;
        std::thread thread([&] {
            require(report(directory.c_str()), 4);
            reported.set_value();
            closed.get_future().wait();
        });
        reported.get_future().wait();
        letGo(staysWithThreads);
        closed.set_value();
        thread.join();
        // A moment for whatever else watches the end of a thread.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    } else {
        return 2;
    }
    return 0;
}
