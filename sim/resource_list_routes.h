// Resource Manager's list of the resources of every kind.
#pragma once

#include "sim/cloud.h"
#include "sim/route_table.h"

namespace sim {

/// `cloud` must outlive the table.
void add_resource_list_routes(RouteTable& routes, Cloud& cloud);

}  // namespace sim
