// Asynchronous operations of the compute provider: how they are announced, and the addresses that tell their progress.
#pragma once

#include <optional>
#include <string>

#include "sim/cloud.h"
#include "sim/json_response.h"
#include "sim/operation_store.h"
#include "sim/route_table.h"

namespace sim {

void add_operation_routes(RouteTable& routes, Cloud& cloud);

/// Notes an operation that comes to this and returns its id.
std::string start_operation(Cloud& cloud, const Subscription& subscription, std::optional<Json> output,
                            std::optional<OperationError> error = std::nullopt);

/// The 202 that tells a client where to follow it, with a body or an empty one.
Response accepted_response(const Cloud& cloud, const Call& call, const Subscription& subscription,
                           const std::string& operation_id, const std::optional<Json>& body = std::nullopt);

/// Whether that operation has not ended yet.
bool in_progress(const Cloud& cloud, const std::string& operation_id);

}  // namespace sim
