// A resource module with one string.
#include <zmu/localize/ResourceModule.h>

#include <cwchar>

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    constexpr wchar_t text[] = L"from the sample";
    constexpr int length = 15;
    if (id != 10007 || bufferMax <= length) {
        SetLastError(zmu::StringUnknown);
        return 0;
    }
    SetLastError(zmu::StringFound);
    std::wmemcpy(buffer, text, length + 1);
    return length;
}
