#include <zmu/platform/Clock.h>
#include <zmu/platform/Win32.h>

u64 zmu::steadyMilliseconds()
{
    return GetTickCount64();
}
