// What keeps the registry's entries whole between a thread that ends and one that destroys a
// monitor.
#pragma once

#include <zmu/platform/ProcessLock.h>

namespace zmu {

/// Held while an entry of the registry changes, and by whoever uses monitors that it has not been
/// given: a monitor is destroyed after its entry was emptied. Never held while a monitor is made or
/// destroyed, so no other lock is waited for under it but that of a data set's map.
ProcessLock& registryEntries();

} // namespace zmu
