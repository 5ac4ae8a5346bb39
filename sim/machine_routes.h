// Machines, and the sizes that they come in.
#pragma once

#include "sim/cloud.h"
#include "sim/route_table.h"

namespace sim {

/// `cloud` must outlive the table.
void add_machine_routes(RouteTable& routes, Cloud& cloud);

}  // namespace sim
