#include "sim/operation_routes.h"

#include <utility>

#include "sim/derived_text.h"
#include "sim/disk_request.h"
#include "sim/resource_json.h"
#include "sim/scope.h"

namespace sim {
namespace {

const std::string operation_type = "Microsoft.Compute/locations/DiskOperations";

/// The address of an operation; `monitor` makes it the one that answers with the result alone.
std::string operation_address(const Cloud& cloud, const Call& call, const Subscription& subscription,
                              const std::string& id, const char* monitor) {
  return "https://" + cloud.endpoints.management + "/subscriptions/" + subscription.id +
         "/providers/Microsoft.Compute/locations/" + cloud.world.region + "/DiskOperations/" + id +
         "?p=" + guid_of("partition of " + id) + monitor + "&api-version=" + field(call.query, "api-version");
}

Json status_json(const std::string& id, const Operation& operation) {
  Json json = {{"startTime", time_text(operation.started)}};
  if (operation.ended) json["endTime"] = time_text(*operation.ended);
  if (!operation.ended) {
    json["status"] = "InProgress";
  } else if (operation.error) {
    json["status"] = "Failed";
    json["error"] = {{"code", operation.error->code}, {"message", operation.error->message}};
  } else {
    json["status"] = "Succeeded";
    if (operation.output) json["properties"]["output"] = *operation.output;
  }
  json["name"] = id;
  return json;
}

/// What the address with "monitor=true" answers: 202 while it lasts, then the result as the request itself would have.
Response result_response(const Cloud& cloud, const Call& call, const Subscription& subscription, const std::string& id,
                         const Operation& operation) {
  if (!operation.ended) {
    Response response{.status = 202};
    response.headers.emplace_back("Location", operation_address(cloud, call, subscription, id, "&monitor=true"));
    return response;
  }
  if (operation.error) return error_response(409, operation.error->code, operation.error->message);
  return operation.output ? printed_json_response(200, *operation.output) : Response{};
}

Response operation_response(Cloud& cloud, const Call& call) {
  const Subscription& subscription = subscription_of(cloud, call);
  const std::string& id = call.path.at("operation");
  const Operation* operation = cloud.operations.poll(id, cloud.clock.now());
  if (operation == nullptr || operation->subscription_id != subscription.id) {
    throw Refusal(404, "NotFound", "The operation '" + id + "' was not found.");
  }
  if (equal_ignoring_case(field(call.query, "monitor"), "true")) {
    return result_response(cloud, call, subscription, id, *operation);
  }
  return printed_json_response(200, status_json(id, *operation));
}

}  // namespace

void add_operation_routes(RouteTable& routes, Cloud& cloud) {
  routes.add({.service = Service::management,
              .method = "GET",
              .path = "/subscriptions/{subscriptionId}/providers/Microsoft.Compute/locations/{location}/DiskOperations/"
                      "{operation}",
              .answer = [&cloud](const Call& call) { return operation_response(cloud, call); },
              .api_versions = disk_versions,
              .resource_type = operation_type});
}

std::string start_operation(Cloud& cloud, const Subscription& subscription, std::optional<Json> output,
                            std::optional<OperationError> error) {
  return cloud.operations.add({.subscription_id = subscription.id,
                               .output = std::move(output),
                               .error = std::move(error),
                               .started = cloud.clock.now(),
                               .polls_left = cloud.world.operation_polls});
}

Response accepted_response(const Cloud& cloud, const Call& call, const Subscription& subscription,
                           const std::string& operation_id, const std::optional<Json>& body) {
  Response response = body ? printed_json_response(202, *body) : Response{.status = 202};
  response.headers.emplace_back("Location",
                                operation_address(cloud, call, subscription, operation_id, "&monitor=true"));
  response.headers.emplace_back("Azure-AsyncOperation", operation_address(cloud, call, subscription, operation_id, ""));
  return response;
}

bool in_progress(const Cloud& cloud, const std::string& operation_id) {
  return cloud.operations.in_progress(operation_id, cloud.clock.now());
}

}  // namespace sim
