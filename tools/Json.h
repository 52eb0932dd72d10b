// JSON, for commands that write much of it.
#pragma once

#include <string>
#include <string_view>

namespace zmu_tools {

/// Appends UTF-16 as UTF-8. Half of a surrogate pair becomes U+FFFD.
void appendUtf8(std::string& output, std::u16string_view text);

/// Appends a text in quotation marks, as JSON has it. What a terminal would obey is escaped, too.
void appendJson(std::string& output, std::u16string_view text);

} // namespace zmu_tools
