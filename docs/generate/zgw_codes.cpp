// Prints docs/zgw-codes.md from the table of an owner's status codes.
#include "CodesPage.h"

namespace {

Row table[] = {
#define ZMU_ZGW(number, name, operations, ...) {number, #name, operations, __VA_ARGS__},
#include <zmu/owner/ZgwCodes.def>
#undef ZMU_ZGW
};

constexpr char opening[] = R"(# ZGW codes

<!-- Made from zmu/owner/ZgwCodes.def by `./dev docs`: change the table, not this file. -->

`ZarnDataZGW::getDX_Code1()` tells what went wrong in the calling thread's last operation of an
owner: 0 means success, any other number is one row of this table, and the constructor throws it.
`getDX_Code2()` is its companion: an error of the system, or the code of another object, where the
table says so. Traces show the two as "ZGW14/WLE0". In code the numbers have names from
`<zmu/owner/ZgwCodes.h>`, such as `zmu::zgw::%s`.

| Code | Name | Raised by | Meaning | Usual cause, and what to do |
|---:|---|---|---|---|
)";

} // namespace

int main()
{
    return printPage(opening, table);
}
