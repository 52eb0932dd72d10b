// What tells owners apart: one table, and no other owner logic anywhere.
#pragma once

#include <zmu/owner/ZarnDataZGW.h>

namespace zmu {

/// Built-in texts of the owners.
namespace text {
inline constexpr unsigned int Unknown = 10007;
inline constexpr unsigned int LogFolder = 10008;
inline constexpr unsigned int FormName = 10009;
inline constexpr unsigned int FormNameAps = 10010;
inline constexpr unsigned int FormFolder = 10011;
inline constexpr unsigned int capacity = 1024;
} // namespace text

struct OwnerRow {
    i64 id;
    const wchar_t* module; ///< Loaded when the resource module is missing; null for none.
    int brandText;         ///< Of MODULE_NAME and PRODUCT_NAME.
    bool namesUser;        ///< The log's name holds the user's, if the owner runs standalone.
    unsigned int formName;
};

// clang-format off
inline constexpr OwnerRow owners[] = {
    {ZGW_OWNER_CM,    L"cm.exe",    18, false, text::FormName},
    {ZGW_OWNER_LOGON, L"Logon.exe", 19, true,  text::FormName},
    {ZGW_OWNER_PW,    L"pw.exe",    20, true,  text::FormName},
    {ZGW_OWNER_APS,   nullptr,      16, false, text::FormNameAps},
};
inline constexpr OwnerRow anyOwner =
    {0,               nullptr,      16, false, text::FormName};
// clang-format on

inline const OwnerRow& ownerRow(i64 id)
{
    for (const OwnerRow& row : owners) {
        if (row.id == id)
            return row;
    }
    return anyOwner;
}

} // namespace zmu
