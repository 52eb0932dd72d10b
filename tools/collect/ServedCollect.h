// `zmu collect --server`: what comes from servers, in logs.
#pragma once

#include <tools/Command.h>
#include <tools/ship/ServerCollector.h>

#include <string>

namespace zmu_tools::collect {

struct ServedOptions {
    ship::ServerOptions server;
    ship::GroupOptions group;
    std::string logFolder;
    std::string form;
    unsigned logSize = 0; ///< Bytes at which a log is replaced.
    std::string positions;
    bool isByHost = false;       ///< A folder of logs for each host.
    bool isOnce = false;         ///< Ends when there is nothing more.
    bool isChild = false;        ///< Ends with its standard input, as that of a collector by host,
    unsigned idle = 3600;        ///< or when it has had nothing for so many seconds.
    std::size_t placesQty = 256; ///< Collectors by host that there are at a time.
};

/// Collects until it is told to stop.
Exit collectServed(const ServedOptions& options);

} // namespace zmu_tools::collect
