#include <zmu/platform/Files.h>

#include <limits>

u64 zmu::fileSizeLimit()
{
    return std::numeric_limits<u64>::max(); // A write that goes too far fails, and nothing else.
}
