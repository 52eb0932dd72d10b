// How long a text of the library gets.
#pragma once

#include <zmu/foundation/Types.h>

#include <cstddef>
#include <string_view>

namespace zmu_tools {

/// Elements that the library's formatter makes of `format`, which `values` fill; `lineWidth` as the
/// formatter has it. 0 if it refuses the format. A text for which it has no room counts as 32000.
std::size_t formattedLength(std::wstring_view format, zmu::u64* values, zmu::ulong32 lineWidth = 0);

} // namespace zmu_tools
