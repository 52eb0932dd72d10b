#include "../Platform.h"

#include "../Text.h"

#include <zmu/platform/Win32.h>

platform::Launch platform::launch(const std::string& command)
{
    // The call may write into the command line.
    std::wstring commandLine = toWide(command);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
        return {GetLastError()};
    CloseHandle(process.hThread);
    return {0, process.dwProcessId, reinterpret_cast<std::intptr_t>(process.hProcess)};
}

platform::End platform::waitFor(const Launch& started)
{
    HANDLE process = reinterpret_cast<HANDLE>(started.handle);
    DWORD status = 0;
    const bool isKnown = WaitForSingleObject(process, INFINITE) == WAIT_OBJECT_0 &&
                         GetExitCodeProcess(process, &status);
    CloseHandle(process);
    return {false, isKnown ? static_cast<int>(status) : -1};
}

std::vector<std::string> platform::defaultCommands()
{
    return {"cmd /c exit 0", "cmd /c exit 3", "C:\\no\\such\\program.exe --size <large>"};
}

std::filesystem::path platform::programPath()
{
    wchar_t path[1024];
    const DWORD length = GetModuleFileNameW(nullptr, path, 1024);
    return length < 1024 ? std::filesystem::path(path, path + length) : std::filesystem::path();
}
