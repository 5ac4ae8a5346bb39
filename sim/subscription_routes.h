// Resource Manager's own resources: end points, subscriptions and resource groups.
#pragma once

#include "sim/cloud.h"
#include "sim/route_table.h"

namespace sim {

/// `cloud` must outlive the table.
void add_subscription_routes(RouteTable& routes, Cloud& cloud);

}  // namespace sim
