// Resource Manager's front: what is checked before, and added after, any management route.
#pragma once

#include "sim/cloud.h"
#include "sim/json_response.h"
#include "sim/route_table.h"

namespace sim {

/// The management service's answer: 401 without a good token, 400 without an api-version that the route answers, 404
/// without a route, else the route's own; with the headers that every answer of Resource Manager carries.
Response gateway_response(const Cloud& cloud, const RouteTable::Match& match);

/// The 401 for a token that was never given out or was taken back.
Response invalid_token_response(const Cloud& cloud);

}  // namespace sim
