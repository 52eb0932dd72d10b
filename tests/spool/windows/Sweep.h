// How a reader finds what is added to a file that stays open.
#pragma once

namespace zmu_test {

/// The system tells of it when the file is closed: until then a sweep finds it.
inline constexpr int followingSweep = 500; // milliseconds

} // namespace zmu_test
