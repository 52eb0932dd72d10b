// The stream that lines are on their way in: made if it is not there, checked if it is.
#pragma once

#include "Connection.h"

namespace zmu_tools::ship {

/// Finds the stream as the options want it, or makes it so. Differences that cost nothing are told.
/// Returns how many servers keep it; 0, which is told, if they cannot say for now. Throws
/// ServerError for a stream that would lose something, with what to do.
int ensureStream(Connection& connection, const StreamOptions& options);

} // namespace zmu_tools::ship
