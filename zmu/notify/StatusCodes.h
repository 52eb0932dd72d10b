// Status codes of the status dialog by name: what ZarnStatusReporter::getDX_Code1() answers.
//
//     if (!reporter->updateDisplay(L"Starting") &&
//         ZarnStatusReporter::getDX_Code1() == zmu::status::NotUsable) ...
//
// 0 means success. The table itself is StatusCodes.def; docs/status-codes.md shows it for reading.
#pragma once

namespace zmu::status {

inline constexpr int Success = 0;

#define ZMU_STATUS(number, name, operations, meaning, ...) inline constexpr int name = number;
#include <zmu/notify/StatusCodes.def>
#undef ZMU_STATUS

} // namespace zmu::status
