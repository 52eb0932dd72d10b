// Text files that keep how far something was done, with a title and a checksum.
#pragma once

#include <string>
#include <string_view>

namespace zmu_spool {

/// The text with a last line that has its SHA-256 sum. It begins with a title, as below.
std::string sealed(std::string text);

/// Takes title and sum off a text that sealed() has made. `title` is the first line: a name, a
/// space, a version and a line feed. Why that cannot be done, in words; empty if it was.
std::string unseal(std::string_view& text, std::string_view title);

} // namespace zmu_spool
