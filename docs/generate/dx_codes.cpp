// Prints docs/dx-codes.md from the table of DX codes.
#include <algorithm>
#include <cstdio>
#include <iterator>

namespace {

struct Row {
    int number;
    const char* name;
    const char* operations;
    const char* meaning;
};

Row table[] = {
#define ZMU_DX(number, name, operations, meaning) {number, #name, operations, meaning},
#include <zmu/monitor/DxCodes.def>
#undef ZMU_DX
};

constexpr char opening[] = R"(# DX codes

<!-- Made from zmu/monitor/DxCodes.def by `./dev docs`: change the table, not this file. -->

`getSelfDX_Code()` of an object tells what went wrong in it: 0 means that it is satisfied, any
other number is one row of this table. The first failure stays: while an object holds a code, later
failures of the same work do not replace it. In code the numbers have names from
`<zmu/monitor/DxCodes.h>`, such as `zmu::dx::%s`.

| Code | Name | Raised by | Meaning |
|---:|---|---|---|
)";

// A bar would end the cell.
void printCell(const char* text)
{
    for (; *text != '\0'; ++text) {
        if (*text == '|')
            std::putchar('\\');
        std::putchar(*text);
    }
}

} // namespace

int main()
{
    std::sort(std::begin(table), std::end(table),
              [](const Row& left, const Row& right) { return left.number < right.number; });
    const Row* twice = std::adjacent_find(
        std::begin(table), std::end(table),
        [](const Row& left, const Row& right) { return left.number == right.number; });
    if (twice != std::end(table)) {
        std::fprintf(stderr, "code %d stands twice in the table\n", twice->number);
        return 1;
    }

    std::printf(opening, table[0].name);
    for (const Row& row : table) {
        std::printf("| %d | `%s` | ", row.number, row.name);
        printCell(row.operations);
        std::printf(" | ");
        printCell(row.meaning);
        std::printf(" |\n");
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
