// Prints docs/status-codes.md from the table of the status dialog's codes.
#include "CodesPage.h"

namespace {

Row table[] = {
#define ZMU_STATUS(number, name, operations, ...) {number, #name, operations, __VA_ARGS__},
#include <zmu/notify/StatusCodes.def>
#undef ZMU_STATUS
};

constexpr char opening[] = R"(# Codes of the status dialog

<!-- Made from zmu/notify/StatusCodes.def by `./dev docs`: change the table, not this file. -->

`ZarnStatusReporter::getDX_Code1()` tells what went wrong in the last operation of the status dialog:
0 means success, any other number is one row of this table. `getDX_Code2()` is its companion: an error
of the system, where the table says so. In code the numbers have names from
`<zmu/notify/StatusCodes.h>`, such as `zmu::status::%s`.

| Code | Name | Raised by | Meaning | Usual cause, and what to do |
|---:|---|---|---|---|
)";

} // namespace

int main()
{
    return printPage(opening, table);
}
