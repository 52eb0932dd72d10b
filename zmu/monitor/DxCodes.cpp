#include <zmu/monitor/DxCodes.h>

#include <zmu/monitor/internal/CodeTable.h>

namespace {

// clang-format off
constexpr zmu::CodeRow table[] = {
    {zmu::dx::Satisfied, {L"Satisfied", L"", L"nothing has failed"}},
#define ZMU_DX(number, name, operations, meaning, ...) {number, {L"" #name, L"" operations, L"" meaning}},
#include <zmu/monitor/DxCodes.def>
#undef ZMU_DX
};
// clang-format on

} // namespace

zmu::CodeDescription zmu::describe(int code) noexcept
{
    return findCode(table, code);
}
