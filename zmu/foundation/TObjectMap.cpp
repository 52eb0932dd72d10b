#include <zmu/foundation/TObjectMap.h>

u64 zmu::nextObjectMapState()
{
    static constinit std::atomic<u64> last = 0;
    return ++last;
}
