// A clock that costs next to nothing.
#pragma once

#include <zmu/foundation/Types.h>

namespace zmu {

/// Milliseconds since some moment before the process began, never fewer than the last time. As
/// exact as the system's own tick, about a hundredth of a second.
u64 steadyMilliseconds();

} // namespace zmu
