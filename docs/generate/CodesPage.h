// Prints a table of codes as a page.
#pragma once

#include <algorithm>
#include <cstdio>
#include <iterator>

struct Row {
    int number;
    const char* name;
    const char* operations;
    const char* meaning;
};

// A bar would end the cell.
inline void printCell(const char* text)
{
    for (; *text != '\0'; ++text) {
        if (*text == '|')
            std::putchar('\\');
        std::putchar(*text);
    }
}

/// Prints `opening`, which has a place for the name of the first code, and the table in ascending
/// order. Returns what main returns.
template <std::size_t count>
int printPage(const char* opening, Row (&table)[count])
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
