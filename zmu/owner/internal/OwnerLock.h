// What serialises owners within the process.
#pragma once

#include <zmu/foundation/Mutex.h>

namespace zmu {

/// Held while an owner is made or destroyed, and over the whole life of one that only names a log's
/// successor: they share the brander, and the first destroys it that has made it. A thread that
/// holds it may wait for the lock of a data set that it has made itself, for no other.
Mutex& ownersMutex();

} // namespace zmu
