#include <tools/platform/Terminal.h>

#include <sys/ioctl.h>
#include <unistd.h>

namespace zmu_tools {

void prepareOutput() {}

bool isTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

int terminalWidth()
{
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

} // namespace zmu_tools
