// Windows of the host, of which there are none here yet.
#include <zmu/platform/Win32.h>

namespace {

template <class Char>
int giveEmptyText(Char* buffer, int size)
{
    if (buffer && size > 0)
        buffer[0] = Char();
    return 0;
}

} // namespace

int GetWindowTextLengthA(HWND)
{
    return 0;
}

int GetWindowTextLengthW(HWND)
{
    return 0;
}

int GetWindowTextA(HWND, char* buffer, int size)
{
    return giveEmptyText(buffer, size);
}

int GetWindowTextW(HWND, wchar_t* buffer, int size)
{
    return giveEmptyText(buffer, size);
}
