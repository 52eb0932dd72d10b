// What the platform says about files beyond reading and writing them.
#pragma once

#include <zmu/foundation/Types.h>

namespace zmu {

/// Whether the process may make a file of `bytes`. Asked before a write where passing the limit
/// would not only fail but send the host a deadly signal.
bool canFileGrowTo(u64 bytes);

} // namespace zmu
