// Allocations with `new` that fail on the calling thread.
#pragma once

namespace zmu_test {

/// Whether they can; not where a sanitizer, or each library, has allocations of its own.
extern const bool canFailAllocations;
inline constexpr char cannotFail[] = "the allocations of the library cannot be made to fail here";

/// Lets the next allocation fail, or the one after `more` others; with `goesOn`, all later ones,
/// too.
void failAllocation(int more, bool goesOn = false);

/// No more fail. Whether one has.
bool endFailing();

} // namespace zmu_test
