// The text of an INI file of settings: sections of "name=value" lines. Any other line is a comment,
// which begins with a semicolon, or makes the file one that is not trusted. Modules that come along
// read the machine's settings with it, too: it needs nothing of the library.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zmu {

/// Takes the text up to `separator` off `text`, and the separator too.
std::string_view takePart(std::string_view& text, char separator);

/// The files of the machine's settings by rank: PRODUCT.ini in the folder ORGANISATION of each of
/// `folders`, the value of XDG_CONFIG_DIRS; null or empty stands for /etc/xdg. Relative folders are
/// none: they would be looked up from the current one.
std::vector<std::string> settingsFiles(const char* folders, const std::string& organisation,
                                       const std::string& product);

/// Whether `text` is a settings file.
bool isSettingsText(std::string_view text);

/// The value of `name` in `section`, without quotes that enclose it; the last one counts. Nothing
/// if there is none.
std::optional<std::string> findSetting(std::string_view text, std::string_view section,
                                       std::string_view name);

/// `text` with that setting, in the place of an old one if there is any. All other lines stay as
/// they stand.
std::string withSetting(std::string_view text, std::string_view section, std::string_view name,
                        std::string_view value);

} // namespace zmu
