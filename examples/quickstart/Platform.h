// What the quickstart needs of the system: linux/Platform.cpp and windows/Platform.cpp, one of them
// built. Narrow text is in the system's narrow code page.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace platform {

struct Launch {
    unsigned int error = 0; ///< The system's error; 0: the process runs.
    unsigned int processID = 0;
    std::intptr_t handle = 0; ///< For waitFor alone.
};

struct End {
    bool bySignal = false;
    int value = 0; ///< Status or signal; -1 if the system cannot tell.
};

/// Starts `command`: a program and its arguments, separated by blanks. It is not run by a shell,
/// which would start in any case; so a program that does not exist is an error of this call.
Launch launch(const std::string& command);
/// Waits for the end of a process that was started. Call it once.
End waitFor(const Launch& started);

/// A command that ends well, one that fails, and one that does not exist.
std::vector<std::string> defaultCommands();

std::filesystem::path programPath(); ///< Empty if the system does not tell.

} // namespace platform
