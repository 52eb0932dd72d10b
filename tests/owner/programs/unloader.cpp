// A program that loads the library with a module and lets it go: `owner_unloader WAY GUEST
// DIRECTORY`.
#include "Modules.h"

#include <chrono>
#include <cstdlib>
#include <future>
#include <string>
#include <string_view>
#include <thread>

namespace {

std::string directory;

void require(bool condition, int status)
{
    if (!condition)
        std::_Exit(status);
}

void checkAtEnd()
{
    require(!isFileOpenIn(directory), 9);
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
        require(isFileOpenIn(directory), 5);
        require(unload(guest), 6);
        require(isFileOpenIn(directory) == stays && isLibraryLoaded() == stays, 7);
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
