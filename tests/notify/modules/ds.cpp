// A display server whose string 8 tells how often it was told to push texts out.
#include <zmu/localize/ResourceModule.h>

#include <cwchar>

namespace {

int s_count = 0;

}

ZMU_RESOURCE_MODULE_ENTRY void dsFlushDisplayServer()
{
    ++s_count;
}

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int, wchar_t* buffer, int bufferMax)
{
    SetLastError(0);
    return swprintf(buffer, static_cast<std::size_t>(bufferMax), L"%d", s_count);
}
