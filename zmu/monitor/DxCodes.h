// DX codes by name: what getSelfDX_Code() of a monitor answers.
//
//     if (!monitor->isSelfSatisfied() && monitor->getSelfDX_Code() == zmu::dx::SpecNotLoaded) ...
//     std::wcerr << zmu::describe(monitor->getSelfDX_Code()).meaning;
//
// 0 means satisfied. The table itself is DxCodes.def; docs/dx-codes.md shows it for reading.
#pragma once

#include <zmu/foundation/Export.h>

namespace zmu {

namespace dx {

inline constexpr int Satisfied = 0;

#define ZMU_DX(number, name, operations, meaning, ...) inline constexpr int name = number;
#include <zmu/monitor/DxCodes.def>
#undef ZMU_DX

} // namespace dx

/// What is known of a code. The texts are static, in English and never null.
struct CodeDescription {
    const wchar_t* name;       ///< As it is called in `dx` or `zgw`, such as L"SpecNotLoaded".
    const wchar_t* operations; ///< Which operations raise it.
    const wchar_t* meaning;    ///< What has happened, in a few words.
};

/// Describes a DX code. 0 is "Satisfied"; a number that is no code of a monitor is "Unknown". Any
/// thread; never fails, allocates nothing.
ZMU_API CodeDescription describe(int code) noexcept;

} // namespace zmu
