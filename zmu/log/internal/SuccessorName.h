// The name of a log file's successor.
#pragma once

#include <string>

namespace zmu {

/// Makes a fresh name from the `present` one and the local time: the time stamp takes the place of
/// an earlier one in front of the file's extension, and a number follows where a file has that
/// name already. Empty if `present` is null or empty, or no name is free.
std::wstring successorLogName(const wchar_t* present);

} // namespace zmu
