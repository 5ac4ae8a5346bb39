#include "sim/operation_routes.h"

#include <string_view>
#include <utility>

#include "sim/derived_text.h"
#include "sim/resource_json.h"
#include "sim/scope.h"

namespace sim {
namespace {

std::string operation_path(const OperationKind& kind, const std::string& location) {
  constexpr std::string_view locations = "/locations/";
  const std::size_t place = kind.type.find(locations) + locations.size();
  return "/providers/" + kind.type.substr(0, place) + location + "/" + kind.type.substr(place) + "/";
}

/// The address of an operation; `monitor` makes it the one that answers with the result alone.
std::string operation_address(const Cloud& cloud, const Call& call, const std::string& id, const char* monitor) {
  const Operation& operation = cloud.operations.at(id);
  return "https://" + cloud.endpoints.management + "/subscriptions/" + operation.subscription_id +
         operation_path(*operation.kind, cloud.world.region) + id + "?p=" + guid_of("partition of " + id) + monitor +
         "&api-version=" + field(call.query, "api-version");
}

const char* status_text(const Operation& operation) {
  if (!operation.ended) return "InProgress";
  return operation.error ? "Failed" : "Succeeded";
}

Json status_json(const std::string& id, const Operation& operation) {
  if (!operation.kind->in_detail) return {{"status", status_text(operation)}};
  Json json = {{"startTime", time_text(operation.started)}};
  if (operation.ended) json["endTime"] = time_text(*operation.ended);
  json["status"] = status_text(operation);
  if (operation.ended && operation.error) {
    json["error"] = {{"code", operation.error->code}, {"message", operation.error->message}};
  } else if (operation.ended && operation.output) {
    json["properties"]["output"] = *operation.output;
  }
  json["name"] = id;
  return json;
}

/// What the address with "monitor=true" answers: 202 while it lasts, then the result as the request itself would have.
Response result_response(const Cloud& cloud, const Call& call, const std::string& id, const Operation& operation) {
  if (!operation.ended) {
    Response response{.status = 202};
    response.headers.emplace_back("Location", operation_address(cloud, call, id, "&monitor=true"));
    return response;
  }
  if (operation.error) return error_response(409, operation.error->code, operation.error->message);
  return operation.output ? printed_json_response(200, *operation.output) : Response{};
}

template <const OperationKind& kind>
Response operation_response(Cloud& cloud, const Call& call) {
  const Subscription& subscription = subscription_of(cloud, call);
  const std::string& id = call.path.at("operation");
  const Operation* operation = cloud.operations.poll(id, cloud.clock.now());
  if (operation == nullptr || operation->kind != &kind || operation->subscription_id != subscription.id) {
    throw Refusal(404, "NotFound", "The operation '" + id + "' was not found.");
  }
  if (equal_ignoring_case(field(call.query, "monitor"), "true")) {
    return result_response(cloud, call, id, *operation);
  }
  return printed_json_response(200, status_json(id, *operation));
}

template <const OperationKind& kind>
void add_routes(RouteTable& routes, Cloud& cloud) {
  ProviderRoutes(routes, cloud, kind.type, kind.api_versions)
      .add("GET", "/subscriptions/{subscriptionId}" + operation_path(kind, "{location}") + "{operation}",
           operation_response<kind>);
}

}  // namespace

void add_operation_routes(RouteTable& routes, Cloud& cloud) {
  add_routes<disk_operation>(routes, cloud);
  add_routes<machine_operation>(routes, cloud);
  add_routes<network_operation>(routes, cloud);
}

std::string start_operation(Cloud& cloud, const Subscription& subscription, const OperationKind& kind,
                            std::optional<Json> output, std::optional<OperationError> error) {
  return cloud.operations.add({.kind = &kind,
                               .subscription_id = subscription.id,
                               .output = std::move(output),
                               .error = std::move(error),
                               .started = cloud.clock.now(),
                               .polls_left = cloud.world.operation_polls});
}

Response accepted_response(const Cloud& cloud, const Call& call, const std::string& operation_id,
                           const std::optional<Json>& body) {
  Response response = body ? printed_json_response(202, *body) : Response{.status = 202};
  response.headers.emplace_back("Location", operation_address(cloud, call, operation_id, "&monitor=true"));
  response.headers.emplace_back("Azure-AsyncOperation", operation_address(cloud, call, operation_id, ""));
  return response;
}

Response resource_response(const Cloud& cloud, const Call& call, const std::string& operation_id, bool is_new,
                           const Json& body) {
  Response response = printed_json_response(is_new ? 201 : 200, body);
  response.headers.emplace_back("Azure-AsyncOperation", operation_address(cloud, call, operation_id, ""));
  return response;
}

bool in_progress(const Cloud& cloud, const std::string& operation_id) {
  return cloud.operations.in_progress(operation_id, cloud.clock.now());
}

}  // namespace sim
