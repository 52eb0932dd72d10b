// Kinds of arguments, and the formats that inserts can ask of them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zmu_tools {

/// What a situation is told. The 32-bit numbers travel as numbers; a response spec has no room for
/// the larger ones, which the call writes as text.
enum class Kind { U32, I32, U64, I64, F64, Text, Html };

std::optional<Kind> kindOf(std::string_view name);
const std::vector<std::string>& kindNames();
bool isText(Kind kind);

/// What stands behind the colon of an insert, for instance "08x".
struct Format {
    bool isLeft = false; ///< Filled up with blanks behind it.
    bool hasZeros = false;
    int width = 0;
    int precision = -1;
    char conversion = 0; ///< Of a number; 0 for a text, and for the shortest form of an f64.

    bool operator==(const Format&) const = default;
};

/// Reads the format of an insert that shows an argument of `kind`, empty for the usual one. What is
/// wrong with it goes to `mistake`, which stays as it is if nothing is.
Format parseFormat(std::string_view text, Kind kind, std::string& mistake);

/// The characters of the longest number of `kind` in this format.
int longestNumber(Kind kind, const Format& format);

} // namespace zmu_tools
