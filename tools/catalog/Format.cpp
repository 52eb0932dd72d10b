#include "Format.h"

#include <algorithm>

namespace zmu_tools {

namespace {

struct KindRow {
    Kind kind;
    std::string name;
    std::string_view conversions; ///< The first is the usual one.
    std::string_view allowed;     ///< In words.
};

// clang-format off
const KindRow kindRows[] = {
    {Kind::U32, "u32", "uxXo", "{n}, {n:5}, {n:-5}, {n:05}, {n:x}, {n:08X} and {n:o}"},
    {Kind::I32, "i32", "dxXo", "{n}, {n:5}, {n:-5}, {n:05}, {n:x}, {n:08X} and {n:o}"},
    {Kind::U64, "u64", "uxXo", "{n}, {n:5}, {n:-5}, {n:05}, {n:x}, {n:016X} and {n:o}"},
    {Kind::I64, "i64", "dxXo", "{n}, {n:5}, {n:-5}, {n:05}, {n:x}, {n:016X} and {n:o}"},
    {Kind::F64, "f64", "feg", "{n}, {n:8}, {n:.2f}, {n:8.2f}, {n:.3e} and {n:.6g}"},
    {Kind::Text, "text", "", "{n}, {n:20} and {n:-20}; how long it may be is told behind its kind, as in text[20]"},
    {Kind::Html, "html", "", "{n}, {n:20} and {n:-20}; how long it may be is told behind its kind, as in html[20]"},
};
// clang-format on

const KindRow& rowOf(Kind kind)
{
    return *std::ranges::find(kindRows, kind, &KindRow::kind);
}

/// Takes a number of up to two digits off; -1 if there is none.
int takeNumber(std::string_view& text)
{
    int number = -1;
    for (int digits = 0; digits < 2 && !text.empty() && text[0] >= '0' && text[0] <= '9';
         ++digits) {
        number = std::max(number, 0) * 10 + (text[0] - '0');
        text.remove_prefix(1);
    }
    return number;
}

bool take(std::string_view& text, char c)
{
    if (!text.starts_with(c))
        return false;
    text.remove_prefix(1);
    return true;
}

} // namespace

std::optional<Kind> kindOf(std::string_view name)
{
    const auto row = std::ranges::find(kindRows, name, &KindRow::name);
    return row == std::end(kindRows) ? std::nullopt : std::optional(row->kind);
}

const std::vector<std::string>& kindNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        std::ranges::transform(kindRows, std::back_inserter(all), &KindRow::name);
        return all;
    }();
    return names;
}

bool isText(Kind kind)
{
    return kind == Kind::Text || kind == Kind::Html;
}

Format parseFormat(std::string_view text, Kind kind, std::string& mistake)
{
    const KindRow& row = rowOf(kind);
    Format format;
    std::string_view rest = text;
    format.isLeft = take(rest, '-');
    format.hasZeros = !format.isLeft && !isText(kind) && take(rest, '0');
    const bool isWidth = !rest.starts_with('0');
    format.width = std::max(takeNumber(rest), 0);
    bool isGood = isWidth && (!format.hasZeros || format.width > 0);
    if (kind == Kind::F64 && take(rest, '.')) {
        format.precision = takeNumber(rest);
        isGood = isGood && format.precision >= 0 && format.precision <= 15 && !rest.empty();
    }
    if (!rest.empty() && row.conversions.find(rest[0]) != std::string_view::npos) {
        format.conversion = rest[0];
        rest.remove_prefix(1);
    } else if (kind != Kind::F64 && !row.conversions.empty()) {
        format.conversion = row.conversions[0];
    }
    if (!isGood || !rest.empty())
        mistake = "the format '" + std::string(text) + "' does not fit the kind " + row.name +
                  ", which takes " + std::string(row.allowed);
    return format;
}

int longestNumber(Kind kind, const Format& format)
{
    constexpr int longestReal = 32;
    const bool isWide = kind == Kind::U64 || kind == Kind::I64;
    int digits = 0;
    switch (format.conversion) {
    case 'x':
    case 'X':
        digits = isWide ? 16 : 8;
        break;
    case 'o':
        digits = isWide ? 22 : 11;
        break;
    default:
        digits = kind == Kind::F64 ? longestReal : isWide ? 20 : kind == Kind::I32 ? 11 : 10;
    }
    return std::max(digits, format.width);
}

} // namespace zmu_tools
