#include "ServerCollector.h"
#include "Ship.h"

#include <cstdio>

// Commands ask the first of these before they come to any other.
namespace zmu_tools::ship {

bool isClientThere()
{
    std::fprintf(stderr, "zmu: error: this zmu was built without the client library of NATS\n");
    return false;
}

Exit shipSpools(const ShipOptions&)
{
    return Exit::Usage;
}

void collectFromServers(const ServerOptions&, const GroupOptions&, Destination&,
                        std::optional<std::chrono::seconds>, const std::function<bool()>&)
{}

void watchHosts(const ServerOptions&,
                const std::function<void(const std::set<std::string>&, const LastOf&)>&,
                const std::function<bool()>&)
{}

} // namespace zmu_tools::ship
