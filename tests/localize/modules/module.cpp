// A resource module with one string.
#include <zmu/localize/ResourceModule.h>

#include <cwchar>

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    constexpr wchar_t text[] = L"words";
    constexpr int length = 5;
    if (id != 5 || bufferMax <= length) {
        SetLastError(2);
        return 0;
    }
    SetLastError(0);
    std::wmemcpy(buffer, text, length + 1);
    return length;
}
