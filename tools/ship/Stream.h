// The stream that lines are on their way in: made if it is not there, checked if it is.
#pragma once

#include "Connection.h"

namespace zmu_tools::ship {

struct StreamFound {
    int replicas = 0;                ///< How many servers keep it; 0 if they cannot say for now.
    std::int64_t longestMessage = 0; ///< In bytes, with headers; 0 if the stream sets no limit.
};

/// Finds the stream as the options want it, or makes it so. Differences that cost nothing are told,
/// and so is it if the servers cannot say for now. Throws ServerError for a stream that would lose
/// something, with what to do.
StreamFound ensureStream(Connection& connection, const StreamOptions& options);

} // namespace zmu_tools::ship
