// Everything that stands in the simulated cloud, for those who look at it from outside.
#pragma once

#include "sim/cloud.h"
#include "sim/json_response.h"

namespace sim {

/// {"machines":[...],"disks":[...],"snapshots":[...],"networkInterfaces":[...],"publicIPAddresses":[...],"exports":[...]},
/// each resource as its provider describes it, machines with their instance view; what is still being made is there
/// too. An export is {"snapshot": id, "expires": time}, without the address that reads it.
Json state_json(Cloud& cloud);

}  // namespace sim
