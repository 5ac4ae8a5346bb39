#include "sim/machine_routes.h"

#include "sim/list_page.h"
#include "sim/machine_json.h"
#include "sim/scope.h"

namespace sim {
namespace {

const std::vector<std::string> versions = {"2016-03-30", "2017-03-30", "2017-12-01", "2020-06-01"};

Response machine(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const auto& found = resource_of(scope.group.machines, call, resource_type::machine);
  const bool expanded = equal_ignoring_case(field(call.query, "$expand"), "instanceView");
  return printed_json_response(200, machine_json(cloud, scope.subscription.id, scope.name, found,
                                                 expanded ? InstanceView::included : InstanceView::left_out));
}

Response machine_list(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  return printed_json_response(
      200, list_page(cloud, call, scope.group.machines, LinkForm::provider, [&](const auto& named) {
        return machine_json(cloud, scope.subscription.id, scope.name, named, InstanceView::left_out);
      }));
}

Response size_list(Cloud& cloud, const Call& call) {
  subscription_of(cloud, call);
  const std::string& location = call.path.at("location");
  if (!equal_ignoring_case(location, cloud.world.region)) {
    throw Refusal(400, "NoRegisteredProviderFound",
                  "No registered resource provider found for location '" + location + "' and API version '" +
                      field(call.query, "api-version") +
                      "' for type 'locations/vmSizes'. The supported locations are '" + cloud.world.region + "'.");
  }
  Json sizes = Json::array();
  for (const VmSize& size : cloud.world.vm_sizes) {
    sizes.push_back({{"name", size.name},
                     {"numberOfCores", size.cores},
                     {"osDiskSizeInMB", size.os_disk_mb},
                     {"resourceDiskSizeInMB", size.resource_disk_mb},
                     {"memoryInMB", size.memory_mb},
                     {"maxDataDiskCount", size.max_data_disks}});
  }
  return printed_json_response(200, {{"value", std::move(sizes)}});
}

}  // namespace

void add_machine_routes(RouteTable& routes, Cloud& cloud) {
  const std::string machines = group_path(resource_type::machine);
  routes.add({.service = Service::management,
              .method = "GET",
              .path = machines,
              .answer = [&cloud](const Call& call) { return machine_list(cloud, call); },
              .api_versions = versions,
              .resource_type = resource_type::machine});
  routes.add({.service = Service::management,
              .method = "GET",
              .path = machines + "/{name}",
              .answer = [&cloud](const Call& call) { return machine(cloud, call); },
              .api_versions = versions,
              .resource_type = resource_type::machine});
  routes.add({.service = Service::management,
              .method = "GET",
              .path = "/subscriptions/{subscriptionId}/providers/Microsoft.Compute/locations/{location}/vmSizes",
              .answer = [&cloud](const Call& call) { return size_list(cloud, call); },
              .api_versions = versions,
              .resource_type = resource_type::vm_size});
}

}  // namespace sim
