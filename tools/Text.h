// Text of the tools: UTF-8 inside, wide text towards the library.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zmu_tools {

/// UTF-8 as wide text; what is no UTF-8 becomes U+FFFD.
std::wstring widened(std::string_view text);

/// Wide text as UTF-8.
std::string narrowed(std::wstring_view text);

/// That of `names` which `name` was probably meant to be; empty if none comes near, and for a name
/// of more than 64 letters. Case counts little.
std::string nearestName(std::string_view name, const std::vector<std::string>& names);

/// `text` with everything in it that a terminal would obey shown as \x1b or \u009b instead.
std::string harmless(std::string_view text);

/// Columns of a terminal that a character has: none for one that goes over the one before it, two
/// for the wide ones of East Asia and for pictures.
int columnsOf(char32_t character);

/// Two lines, each with its break: what stands around a position of `text`, and a caret below it.
std::string pointedAt(std::wstring_view text, std::size_t position);

} // namespace zmu_tools
