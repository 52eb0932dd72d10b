// Status codes of an owner by name: what ZarnDataZGW::getDX_Code1() answers.
//
//     } catch (int code) {
//         if (code == zmu::zgw::BranderMissing) ...
//
// 0 means success. The table itself is ZgwCodes.def; docs/zgw-codes.md shows it for reading.
#pragma once

#include <zmu/monitor/DxCodes.h>

namespace zmu {

namespace zgw {

inline constexpr int Success = 0;

#define ZMU_ZGW(number, name, operations, meaning, ...) inline constexpr int name = number;
#include <zmu/owner/ZgwCodes.def>
#undef ZMU_ZGW

} // namespace zgw

/// Describes a status code of an owner, as describe() does a DX code; 0 is "Success".
ZMU_API CodeDescription describeOwnerCode(int code) noexcept;

} // namespace zmu
