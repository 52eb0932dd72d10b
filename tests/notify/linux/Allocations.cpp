#include "../Allocations.h"

#include <climits>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

const bool zmu_test::canFailAllocations = false;
void zmu_test::failAllocation(int, bool) {}
bool zmu_test::endFailing()
{
    return false;
}

#else

namespace {

thread_local int s_left = INT_MAX; ///< Until one fails.
thread_local bool s_goesOn = false;

} // namespace

const bool zmu_test::canFailAllocations = true;

void zmu_test::failAllocation(int more, bool goesOn)
{
    s_left = more;
    s_goesOn = goesOn;
}

bool zmu_test::endFailing()
{
    const bool hasFailed = s_left < 0;
    s_left = INT_MAX;
    return hasFailed;
}

// Not inline: else the compiler takes them for a mismatched pair.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    const bool fails = s_left == 0 || (s_left < 0 && s_goesOn);
    if (s_left >= 0 && s_left != INT_MAX)
        --s_left;
    void* const memory = fails ? nullptr : std::malloc(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

#endif
