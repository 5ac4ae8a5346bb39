// Snapshots of managed disks, and the access to their data.
#pragma once

#include "sim/cloud.h"
#include "sim/route_table.h"

namespace sim {

/// PUT, GET, list of a subscription or a group, beginGetAccess, endGetAccess, DELETE. A snapshot can be seen once the
/// operation that makes it has ended. While access is granted the snapshot can be neither exported again (409
/// AccessAlreadyGranted) nor deleted (409 OperationNotAllowed): a client that lost an address has to end it first.
void add_snapshot_routes(RouteTable& routes, Cloud& cloud);

}  // namespace sim
