// Asynchronous operations of the providers: how they are announced, and the addresses that tell their progress.
#pragma once

#include <optional>
#include <string>

#include "sim/cloud.h"
#include "sim/json_response.h"
#include "sim/operation_store.h"
#include "sim/provider_routes.h"
#include "sim/route_table.h"

namespace sim {

inline const OperationKind disk_operation = {"Microsoft.Compute/locations/DiskOperations", api_versions::disks};
inline const OperationKind machine_operation = {"Microsoft.Compute/locations/operations", api_versions::compute};
inline const OperationKind network_operation = {"Microsoft.Network/locations/operations", api_versions::network, false};

void add_operation_routes(RouteTable& routes, Cloud& cloud);

/// Notes an operation that comes to this and returns its id.
std::string start_operation(Cloud& cloud, const Subscription& subscription, const OperationKind& kind,
                            std::optional<Json> output = std::nullopt,
                            std::optional<OperationError> error = std::nullopt);

/// The 202 that tells a client where to follow the operation, with a body or an empty one.
Response accepted_response(const Cloud& cloud, const Call& call, const std::string& operation_id,
                           const std::optional<Json>& body = std::nullopt);

/// What is there already while the operation goes on: 201 when it was made new, else 200.
Response resource_response(const Cloud& cloud, const Call& call, const std::string& operation_id, bool is_new,
                           const Json& body);

/// Whether that operation has not ended yet.
bool in_progress(const Cloud& cloud, const std::string& operation_id);

}  // namespace sim
