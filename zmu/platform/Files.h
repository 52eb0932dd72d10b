// What the platform says about files beyond reading and writing them.
#pragma once

#include <zmu/foundation/Types.h>

namespace zmu {

/// Bytes that a file may have, all ones for no limit. Asked before a write, where passing the limit
/// would not only fail but send the host a deadly signal.
u64 fileSizeLimit();

/// Writes `size` bytes at `position` of an open file, which is named by the C library's number for
/// it. Returns the bytes that the system has taken, fewer than `size` when it refuses the rest.
/// What the system's own position in the file is afterwards is not said.
i64 writeAt(int file, i64 position, const char* data, i64 size);

} // namespace zmu
