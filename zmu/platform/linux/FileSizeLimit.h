// How large the process may make a file.
#pragma once

#include <zmu/foundation/Types.h>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <limits>

namespace zmu {

/// In bytes, all ones for no limit. The C library asks by way of prlimit, which takes more than
/// twice as long as the call that is made for the own process.
inline u64 readFileSizeLimit()
{
    rlimit limit{};
#if defined(SYS_getrlimit) && defined(__LP64__) // else the kernel's numbers are narrower than ours
    const bool isKnown = syscall(SYS_getrlimit, RLIMIT_FSIZE, &limit) == 0;
#else
    const bool isKnown = getrlimit(RLIMIT_FSIZE, &limit) == 0;
#endif
    return isKnown && limit.rlim_cur != RLIM_INFINITY ? limit.rlim_cur
                                                      : std::numeric_limits<u64>::max();
}

} // namespace zmu
