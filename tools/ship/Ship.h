// What the command line of `zmu ship` asks for.
#pragma once

#include "ServerOptions.h"

#include <tools/Command.h>

namespace zmu_tools::ship {

struct ShipOptions {
    std::vector<std::string> spools;
    std::string positions;  ///< The file; empty for the usual one.
    bool isKeeping = false; ///< Files that are shipped stay.
    bool isOnce = false;    ///< Ends when all is shipped.
    ServerOptions server;
};

/// Ships until it is told to stop, or all is shipped.
Exit shipSpools(const ShipOptions& options);

} // namespace zmu_tools::ship
