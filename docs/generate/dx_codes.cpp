// Prints docs/dx-codes.md from the table of DX codes.
#include "CodesPage.h"

namespace {

Row table[] = {
#define ZMU_DX(number, name, operations, ...) {number, #name, operations, __VA_ARGS__},
#include <zmu/monitor/DxCodes.def>
#undef ZMU_DX
};

constexpr char opening[] = R"(# DX codes

<!-- Made from zmu/monitor/DxCodes.def by `./dev docs`: change the table, not this file. -->

`getSelfDX_Code()` of an object tells what went wrong in it: 0 means that it is satisfied, any
other number is one row of this table. The first failure stays: while an object holds a code, later
failures of the same work do not replace it. In code the numbers have names from
`<zmu/monitor/DxCodes.h>`, such as `zmu::dx::%s`.

| Code | Name | Raised by | Meaning | Usual cause, and what to do |
|---:|---|---|---|---|
)";

} // namespace

int main()
{
    return printPage(opening, table);
}
