// A collector for each host: one process each, with a folder of its own.
#pragma once

#include "ServedCollect.h"

namespace zmu_tools::collect {

/// Starts this program once more for each host of which something comes, and again if it ends.
/// They end with this one.
Exit collectByHost(const ServedOptions& options);

} // namespace zmu_tools::collect
