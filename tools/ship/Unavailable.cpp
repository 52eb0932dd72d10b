#include "Ship.h"

#include <cstdio>

zmu_tools::Exit zmu_tools::ship::shipSpools(const ShipOptions&)
{
    std::fprintf(stderr, "zmu: error: this zmu was built without the client library of NATS\n");
    return Exit::Usage;
}
