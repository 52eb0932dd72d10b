// What the system is like that runs the tests.
#pragma once

#include <zmu/foundation/Types.h>

#include <QString>

#include <string>

namespace zmu_test {

/// Whether the system is Windows: for a case that only one of both has. What differs in more than a
/// value is a source in a folder `linux` and one in `windows`.
bool isWindows();
/// Login name of the user that runs the tests.
QString userName();
/// Whether Windows is Wine, whose gaps are none of ours.
bool runsUnderWine();
/// Puts the process into a time zone, given as the C library's rule.
void enterTimeZone(const char* rule);
/// Bytes of the heap in use; 0 where a sanitizer has a heap of its own.
i64 heapBytes();
/// Whether the system's message formatter makes a line break, CR LF, of a lone line feed.
bool formatterCompletesLineFeeds();
/// `text` in the narrow code page.
std::string toNarrow(const std::wstring& text);

} // namespace zmu_test
