// Wildcards and searches of the string class, against the plainest way to do the same.
#include "Support.h"

#include <zmu/foundation/UTL_String.h>

#include <cwchar>

using namespace zmu_fuzz;

namespace {

/// By a table of which beginnings of the text match which beginnings of the pattern.
bool matchesPlainly(const std::string& text, std::string pattern)
{
    pattern.resize(pattern.find_last_not_of('*') + 1);
    std::vector<bool> row(text.size() + 1);
    row[0] = true;
    for (const char c : pattern) {
        std::vector<bool> next(text.size() + 1);
        next[0] = c == '*' && row[0];
        for (std::size_t i = 1; i <= text.size(); ++i)
            next[i] =
                c == '*' ? next[i - 1] || row[i] : row[i - 1] && (c == '?' || c == text[i - 1]);
        row = std::move(next);
    }
    return row[text.size()];
}

u64 orNowhere(std::size_t position)
{
    return position == std::string::npos ? UTL_String::npos : position;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t textMax = 200;
    Input input(data, size);
    std::string text = input.terminatedText().substr(0, textMax);
    const std::string part = input.terminatedText().substr(0, textMax);
    const auto from = input.number<std::size_t>(0, textMax + 1);
    const auto count = input.number<std::size_t>(0, textMax + 1);
    const UTL_String string(text.c_str());
    const UTL_String other(part.c_str());

    FUZZ_CHECK(string.matches(other) == matchesPlainly(text, part));
    FUZZ_CHECK(string.find(other, from) == orNowhere(text.find(part, from)));
    const std::size_t last = text.rfind(part);
    FUZZ_CHECK(string.findLast(other, from) ==
               (last != text.npos && last >= from ? last : UTL_String::npos));
    FUZZ_CHECK(string.beginsWith(other) == text.starts_with(part));
    FUZZ_CHECK(string.endsWith(other) == text.ends_with(part));
    FUZZ_CHECK((string < other) == (text < part) && (string == other) == (text == part));
    FUZZ_CHECK(string.substring(from, count).narrowText() ==
               (from < text.size() ? text.substr(from, count) : std::string()));
    FUZZ_CHECK((string + other).narrowText() == text + part);
    const std::string trimmed = string.trimmed().stripQuotes().narrowText();
    FUZZ_CHECK(text.find(trimmed) != text.npos);
    FUZZ_CHECK(text.starts_with(string.prefixBefore(other).narrowText()));
    string.equalsPart(other, static_cast<unsigned>(count), static_cast<unsigned>(from));
    FUZZ_CHECK(string.toUpper().length() == text.size() &&
               string.toLower().length() == text.size());
    return 0;
}
