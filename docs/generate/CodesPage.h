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
    const char* cause = "";
    const char* advice = "";
};

// A bar would end the cell, and a backtick begin a code.
inline void printCell(const char* text)
{
    for (; *text != '\0'; ++text) {
        if (*text == '|' || *text == '`')
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
        std::printf(" | ");
        printCell(row.cause);
        std::printf(*row.cause ? ": " : "");
        printCell(row.advice);
        std::printf(" |\n");
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
