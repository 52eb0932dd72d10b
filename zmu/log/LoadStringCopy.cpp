#include <zmu/log/internal/LoadStringCopy.h>

#include <zmu/foundation/UTL_String.h>

#include <cwchar>
#include <utility>

int zmu::loadStringCopy(HMODULE module, unsigned int id, ZarnScratchpad::Buffer& scratch,
                        wchar_t** copy)
{
    int length = -1;
    try {
        if (module && copy) {
            UTL_String text(module, id, ZarnScratchpad::Buffer::capacity);
            scratch.assign(text.wideText());
            const std::size_t loaded = scratch.length();
            auto* fresh = new wchar_t[loaded + 1];
            std::wmemcpy(fresh, scratch.c_str(), loaded + 1);
            delete[] std::exchange(*copy, fresh);
            length = static_cast<int>(loaded);
        }
    } catch (...) {
        length = -1;
    }
    scratch.clear();
    return length;
}
