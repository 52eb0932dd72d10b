// What the platform says about files beyond reading and writing them.
#pragma once

#include <zmu/foundation/Types.h>

namespace zmu {

/// Bytes that a file may have, all ones for no limit. Asked before a write, where passing the limit
/// would not only fail but send the host a deadly signal.
u64 fileSizeLimit();

} // namespace zmu
