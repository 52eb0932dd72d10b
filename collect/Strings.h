// The library as the resource module of what it writes into logs.
#pragma once

#include <zmu/collect/Export.h>
#include <zmu/platform/Host.h>

namespace zmu_collect {

/// The library, which serves a string for each of the usual Situations.
ZMU_COLLECT_API HMODULE ownModule();

} // namespace zmu_collect
