// The two login authorities.
#pragma once

#include "sim/cloud.h"
#include "sim/route_table.h"

namespace sim {

/// AAD: POST /{tenant}/oauth2/token with grant_type=client_credentials.
/// AD FS: POST /adfs/oauth2/token with grant_type=password.
/// `cloud` must outlive the table.
void add_login_routes(RouteTable& routes, Cloud& cloud);

}  // namespace sim
