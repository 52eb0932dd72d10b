// What the system is like that runs the tests.
#pragma once

#include <QString>

#include <string>

namespace zmu_test {

/// Login name of the user that runs the tests.
QString userName();
/// Whether Windows is Wine, whose gaps are none of ours.
bool runsUnderWine();
/// Whether the system's message formatter makes a line break, CR LF, of a lone line feed.
bool formatterCompletesLineFeeds();
/// `text` in the narrow code page.
std::string toNarrow(const std::wstring& text);

} // namespace zmu_test
