#include "Text.h"

#include <QString>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <numeric>

namespace zmu_tools {

namespace {

// How many letters have to be put in, left out, changed or swapped with their neighbour.
std::size_t distance(const QString& left, const QString& right)
{
    std::vector<std::size_t> beforeLast, last(right.size() + 1), row(right.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t(0));
    for (qsizetype i = 1; i <= left.size(); ++i) {
        row[0] = i;
        for (qsizetype j = 1; j <= right.size(); ++j) {
            const bool isSame = left[i - 1] == right[j - 1];
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (isSame ? 0 : 1)});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1])
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        beforeLast = last;
        std::swap(last, row);
    }
    return last.back();
}

} // namespace

std::wstring widened(std::string_view text)
{
    return QString::fromUtf8(text.data(), qsizetype(text.size())).toStdWString();
}

std::string narrowed(std::wstring_view text)
{
    return QString::fromWCharArray(text.data(), qsizetype(text.size())).toStdString();
}

std::string nearestName(std::string_view name, const std::vector<std::string>& names)
{
    constexpr qsizetype lettersMax = 64; // nobody means a longer one
    const QString wanted = QString::fromUtf8(name.data(), qsizetype(name.size())).toLower();
    std::size_t least = std::max<std::size_t>(1, std::size_t(wanted.size()) / 3) + 1;
    std::string nearest;
    if (wanted.size() > lettersMax)
        return nearest;
    for (const std::string& candidate : names) {
        const QString known = QString::fromStdString(candidate).toLower();
        if (std::size_t(std::abs(known.size() - wanted.size())) >= least)
            continue; // is at least that far away
        const std::size_t away = distance(wanted, known);
        if (away < least) {
            least = away;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string harmless(std::string_view text)
{
    std::string shown;
    shown.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        char code[8];
        if ((byte < 0x20 && byte != '\t') || byte == 0x7f) {
            std::snprintf(code, sizeof code, "\\x%02x", byte);
            shown += code;
        } else if (byte == 0xc2 && next >= 0x80 && next < 0xa0) { // the C1 controls
            std::snprintf(code, sizeof code, "\\u%04x", next);
            shown += code;
            ++i;
        } else {
            shown += text[i];
        }
    }
    return shown;
}

int columnsOf(char32_t character)
{
    struct Range {
        char32_t first;
        char32_t last;
    };
    constexpr Range wide[] = {
        {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},
        {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},
        {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},   {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F},
        {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD},
    };
    const QChar::Category category = QChar::category(character);
    if (category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing ||
        category == QChar::Other_Format)
        return 0;
    const bool isWide = std::any_of(std::begin(wide), std::end(wide), [&](const Range& range) {
        return character >= range.first && character <= range.last;
    });
    return isWide ? 2 : 1;
}

std::string pointedAt(std::wstring_view text, std::size_t position)
{
    constexpr std::size_t before = 60;
    constexpr std::size_t behind = 30;

    position = std::min(position, text.size());
    const std::size_t begin = position > before ? position - before : 0;
    const std::size_t end = std::min(position + behind, text.size());
    const std::string left =
        (begin > 0 ? "..." : "") + harmless(narrowed(text.substr(begin, position - begin)));
    const std::string right = harmless(narrowed(text.substr(position, end - position)));
    std::string blanks;
    for (const char32_t character : QString::fromStdString(left).toStdU32String())
        blanks += character == U'\t' ? "\t" : std::string(std::size_t(columnsOf(character)), ' ');
    return "    " + left + right + (end < text.size() ? "..." : "") + "\n    " + blanks + "^\n";
}

} // namespace zmu_tools
