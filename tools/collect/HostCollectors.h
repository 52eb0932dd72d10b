// A collector for each host: one process each, with a folder of its own.
#pragma once

#include "ServedCollect.h"

namespace zmu_tools::collect {

/// Starts this program once more for each host of which something is new, and again if it ends and
/// there is more. One that has had nothing for a while ends, and leaves its place to another. They
/// end with this one.
Exit collectByHost(const ServedOptions& options);

} // namespace zmu_tools::collect
