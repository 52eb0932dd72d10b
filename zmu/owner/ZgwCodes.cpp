#include <zmu/owner/ZgwCodes.h>

#include <zmu/monitor/internal/CodeTable.h>

namespace {

// clang-format off
constexpr zmu::CodeRow table[] = {
    {zmu::zgw::Success, {L"Success", L"", L"nothing has failed"}},
#define ZMU_ZGW(number, name, operations, meaning, ...) {number, {L"" #name, L"" operations, L"" meaning}},
#include <zmu/owner/ZgwCodes.def>
#undef ZMU_ZGW
};
// clang-format on

} // namespace

zmu::CodeDescription zmu::describeOwnerCode(int code) noexcept
{
    return findCode(table, code);
}
