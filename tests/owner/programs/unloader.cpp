// A program that loads the library with a module and lets it go: `owner_unloader WAY GUEST
// DIRECTORY`.
#include <dirent.h>
#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <future>
#include <string>
#include <string_view>
#include <thread>

namespace {

std::string directory;

/// Whether the process has a file of `directory` open: the monitor lives.
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

bool isLibraryLoaded()
{
    void* const library = dlopen("libzmu.so.0", RTLD_LAZY | RTLD_NOLOAD);
    if (library)
        dlclose(library);
    return library != nullptr;
}

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
    // What the library rests on stays: some of that leaves memory behind when it is unmapped.
    require(dlopen("libQt6Core.so.6", RTLD_NOW) != nullptr, 8);
    void* const guest = dlopen(argv[2], RTLD_NOW);
    require(guest != nullptr, 3);
    const auto report = reinterpret_cast<bool (*)(const char*)>(dlsym(guest, "guestReport"));
    const auto inThread = [&] {
        std::thread([&] { require(report(directory.c_str()), 4); }).join();
    };
    if (way == "threads have ended") {
        inThread();
        inThread();
        require(isLogOpen(), 5);
        require(dlclose(guest) == 0, 6);
        require(!isLogOpen() && !isLibraryLoaded(), 7);
    } else if (way == "main has reported") {
        require(report(directory.c_str()), 4);
        require(dlclose(guest) == 0, 6);
        require(isLogOpen() && isLibraryLoaded(), 7);
    } else if (way == "thread lives on") {
        std::promise<void> reported, closed;
        std::thread thread([&] {
            require(report(directory.c_str()), 4);
            reported.set_value();
            closed.get_future().wait();
        });
        reported.get_future().wait();
        require(dlclose(guest) == 0, 6);
        require(isLibraryLoaded(), 7); // the thread's exit function is still to run in it
        closed.set_value();
        thread.join();
    } else {
        return 2;
    }
    return 0;
}
