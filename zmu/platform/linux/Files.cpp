#include <zmu/platform/Files.h>

#include <sys/resource.h>

bool zmu::canFileGrowTo(u64 bytes)
{
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY ||
           bytes <= limit.rlim_cur;
}
