#include "../Allocations.h"

// What a program puts in the place of `new` is not what its libraries call.
const bool zmu_test::canFailAllocations = false;
void zmu_test::failAllocation(int, bool) {}
bool zmu_test::endFailing()
{
    return false;
}
