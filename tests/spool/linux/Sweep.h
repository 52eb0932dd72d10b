// How a reader finds what is added to a file that stays open.
#pragma once

namespace zmu_test {

/// The system tells of it: nothing waits for a sweep.
inline constexpr int followingSweep = 600'000; // milliseconds

} // namespace zmu_test
