// The languages that the user wants.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace zmu {

/// The languages that the process is to speak, the best first, with colons in between, as in
/// "de_AT.UTF-8:en" or "de-AT:en"; as many as `buffer` holds, empty if nobody has said. The text is
/// in `buffer`.
std::string_view userLanguages(std::span<char> buffer);

} // namespace zmu
