#include "sim/disk_routes.h"

#include "sim/json_response.h"
#include "sim/resource_json.h"
#include "sim/scope.h"

namespace sim {
namespace {

/// An Azure Stack writes the ids of disks, and those that it refers back to, with the group in capitals.
Json disk_json(const GroupScope& scope, const Named<ManagedDisk>::value_type& named) {
  const auto& [name, disk] = named;
  Json json = Json::object();
  if (disk.machine) {
    json["managedBy"] =
        resource_id(scope.subscription.id, upper_case(disk.machine->group), resource_type::machine, disk.machine->name);
  }
  json["sku"] = {{"name", disk.storage_type}, {"tier", disk.storage_type.substr(0, disk.storage_type.find('_'))}};
  Json properties = Json::object();
  if (!disk.os_type.empty()) properties["osType"] = disk.os_type;
  properties["creationData"] = {{"createOption", disk.create_option}};
  properties["diskSizeGB"] = disk.size_gb;
  properties["timeCreated"] = time_text(disk.created);
  properties["provisioningState"] = "Succeeded";
  properties["diskState"] = disk.machine ? "Attached" : "Unattached";
  json["properties"] = std::move(properties);
  json["type"] = resource_type::disk;
  json["location"] = disk.location;
  json["tags"] = Json::object();
  json["id"] = resource_id(scope.subscription.id, upper_case(scope.name), "Microsoft.Compute/Disks", name);
  json["name"] = name;
  return json;
}

}  // namespace

void add_disk_routes(RouteTable& routes, Cloud& cloud) {
  routes.add({.service = Service::management,
              .method = "GET",
              .path = group_path(resource_type::disk) + "/{name}",
              .answer =
                  [&cloud](const Call& call) {
                    const GroupScope scope = group_of(cloud, call);
                    return printed_json_response(
                        200, disk_json(scope, resource_of(scope.group.disks, call, resource_type::disk)));
                  },
              .api_versions = {"2017-03-30", "2018-04-01", "2018-06-01", "2018-09-30", "2019-03-01", "2019-07-01"},
              .resource_type = resource_type::disk});
}

}  // namespace sim
