// Languages by the numbers that Windows has for them.
#pragma once

#include <string>
#include <string_view>

namespace zmu {

/// The number of a locale's language, such as 0x0407 of "de_DE.UTF-8". Where the country has none,
/// that of the language's own country; 0x007F for the "C" locale, whose language is nobody's;
/// 0x1000 for a language without a number.
unsigned languageOfLocale(std::string_view locale);

/// The locale of the process's messages, or where the process has asked for none its user's.
std::string processLocale();

} // namespace zmu
