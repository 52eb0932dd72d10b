#include <zmu/platform/Files.h>

#include <sys/resource.h>

#include <limits>

u64 zmu::fileSizeLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return std::numeric_limits<u64>::max();
    return limit.rlim_cur;
}
