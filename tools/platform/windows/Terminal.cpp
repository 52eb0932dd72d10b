#include <tools/platform/Terminal.h>

#include <windows.h>

namespace zmu_tools {

namespace {

HANDLE output()
{
    return GetStdHandle(STD_OUTPUT_HANDLE);
}

bool takesColours(DWORD mode)
{
    return SetConsoleMode(output(), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

} // namespace

void prepareOutput()
{
    SetConsoleOutputCP(CP_UTF8);
}

bool isTerminal()
{
    DWORD mode = 0;
    return GetConsoleMode(output(), &mode) && takesColours(mode);
}

int terminalWidth()
{
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    return GetConsoleScreenBufferInfo(output(), &info)
               ? info.srWindow.Right - info.srWindow.Left + 1
               : 0;
}

} // namespace zmu_tools
