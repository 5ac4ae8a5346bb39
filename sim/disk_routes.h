// Managed disks.
#pragma once

#include "sim/cloud.h"
#include "sim/route_table.h"

namespace sim {

/// `cloud` must outlive the table.
void add_disk_routes(RouteTable& routes, Cloud& cloud);

}  // namespace sim
