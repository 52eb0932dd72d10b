// DX codes by name: what getSelfDX_Code() of a monitor answers.
//
//     if (!monitor->isSelfSatisfied() && monitor->getSelfDX_Code() == zmu::dx::SpecNotLoaded) ...
//
// 0 means satisfied. The table itself is DxCodes.def; docs/dx-codes.md shows it for reading.
#pragma once

namespace zmu::dx {

inline constexpr int Satisfied = 0;

#define ZMU_DX(number, name, operations, meaning) inline constexpr int name = number;
#include <zmu/monitor/DxCodes.def>
#undef ZMU_DX

} // namespace zmu::dx
