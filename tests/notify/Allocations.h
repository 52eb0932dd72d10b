// Allocations with `new` that fail on the calling thread.
#pragma once

#include <gtest/gtest.h>

namespace zmu_test {

/// Whether they can; not where a sanitizer, or each library, has allocations of its own.
extern const bool canFailAllocations;
inline constexpr char cannotFail[] = "the allocations of the library cannot be made to fail here";

/// Lets the next allocation fail, or the one after `more` others; with `goesOn`, all later ones,
/// too.
void failAllocation(int more, bool goesOn = false);

/// No more fail. Whether one has.
bool endFailing();

/// Calls `body` until nothing fails in it any more. It is given what runs work of its with one more
/// allocation of that succeeding, whose result is whether one failed, and answers that.
template <class Body>
int failEachAllocation(bool goesOn, const Body& body)
{
    for (int failed = 0;; ++failed) {
        SCOPED_TRACE(testing::Message() << "allocation " << failed << (goesOn ? " and on" : ""));
        if (!body([&](const auto& work) {
                failAllocation(failed, goesOn);
                work();
                return endFailing();
            }))
            return failed;
    }
}

} // namespace zmu_test
