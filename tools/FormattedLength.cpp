#include "FormattedLength.h"

#include <zmu/monitor/Zarn.h>
#include <zmu/platform/Win32.h>

#include <string>

std::size_t zmu_tools::formattedLength(std::wstring_view format, zmu::u64* values,
                                       zmu::ulong32 lineWidth)
{
    constexpr int roomQty = 32000; // more is not allowed on every system
    constexpr zmu::ulong32 flags = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;

    std::wstring source(format);
    std::wstring output(roomQty, L'\0');
    const zmu::ulong32 length =
        Zarn::formatMessage(lineWidth | flags, source.data(), output.data(), roomQty, values);
    return length > 0 || GetLastError() != ERROR_INSUFFICIENT_BUFFER ? length : roomQty;
}
