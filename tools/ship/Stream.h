// The stream that lines are on their way in: made if it is not there, checked if it is.
#pragma once

#include "Connection.h"

#include <functional>

namespace zmu_tools::ship {

/// Finds the stream as the options want it, or makes it so. Differences that cost nothing are told.
/// False, which is told, if the servers cannot say for now. Throws ServerError for a stream that
/// would lose something, with what to do.
bool ensureStream(Connection& connection, const StreamOptions& options);

/// Calls `make` with what the options want for replicas, and where they want nothing with 3, and
/// with 1 if the server says that it is by itself.
natsStatus makeReplicated(int replicas, jsErrCode& code,
                          const std::function<natsStatus(int, jsErrCode&)>& make);

} // namespace zmu_tools::ship
