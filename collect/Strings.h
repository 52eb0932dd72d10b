// The library as the resource module of what it writes into logs.
#pragma once

#include <zmu/collect/Export.h>
#include <zmu/platform/Host.h>

namespace zmu_collect {

/// Shown in the log where an entry has no situation of its own.
enum : int { situationOther = 10100, situationMissing = 10101, situationPassedOver = 10102 };

/// The library, which serves a string for each of these situations.
ZMU_COLLECT_API HMODULE ownModule();

} // namespace zmu_collect
