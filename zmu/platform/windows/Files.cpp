#include <zmu/platform/Files.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <limits>

u64 zmu::fileSizeLimit()
{
    return std::numeric_limits<u64>::max(); // A write that goes too far fails, and nothing else.
}

i64 zmu::writeAt(int file, i64 position, const char* data, i64 size)
{
    constexpr i64 pieceMax = 1 << 30;
    auto* const handle = reinterpret_cast<HANDLE>(_get_osfhandle(file));
    i64 written = 0;
    while (written < size) {
        OVERLAPPED place = {};
        place.Offset = static_cast<DWORD>(position + written);
        place.OffsetHigh = static_cast<DWORD>((position + written) >> 32);
        DWORD count = 0;
        if (!WriteFile(handle, data + written,
                       static_cast<DWORD>(std::min(size - written, pieceMax)), &count, &place) ||
            count == 0)
            break;
        written += count;
    }
    return written;
}
