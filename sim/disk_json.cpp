#include "sim/disk_json.h"

#include <utility>

#include "sim/resource_id.h"
#include "sim/resource_json.h"

namespace sim {
namespace {

Json sku_json(const std::string& storage_type) {
  return {{"name", storage_type}, {"tier", storage_type.substr(0, storage_type.find('_'))}};
}

}  // namespace

/// An Azure Stack writes the ids of disks, and those that it refers back to, with the group in capitals.
Json disk_json(const GroupScope& scope, const Named<ManagedDisk>::value_type& named) {
  const auto& [name, disk] = named;
  Json json = Json::object();
  if (disk.machine) {
    json["managedBy"] =
        resource_id(scope.subscription.id, upper_case(disk.machine->group), resource_type::machine, disk.machine->name);
  }
  json["sku"] = sku_json(disk.storage_type);
  Json properties = Json::object();
  if (!disk.os_type.empty()) properties["osType"] = disk.os_type;
  properties["creationData"] = {{"createOption", disk.create_option}};
  if (!disk.source_uri.empty()) properties["creationData"]["sourceUri"] = disk.source_uri;
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

Json snapshot_json(const GroupScope& scope, const Named<Snapshot>::value_type& named, std::int64_t now) {
  const auto& [name, snapshot] = named;
  Json json = {{"sku", sku_json(snapshot.storage_type)}};
  Json properties = Json::object();
  if (!snapshot.os_type.empty()) properties["osType"] = snapshot.os_type;
  properties["creationData"] = {{"createOption", "Copy"}, {"sourceResourceId", snapshot.source_id}};
  properties["diskSizeGB"] = snapshot.size_gb;
  properties["timeCreated"] = time_text(snapshot.created);
  properties["provisioningState"] = "Succeeded";
  properties["diskState"] = has_access(snapshot, now) ? "ActiveSAS" : "Unattached";
  json["properties"] = std::move(properties);
  json["type"] = resource_type::snapshot;
  json["location"] = snapshot.location;
  json["tags"] = snapshot.tags ? tags_json(*snapshot.tags) : Json::object();
  json["id"] = resource_id(scope.subscription.id, upper_case(scope.name), "Microsoft.Compute/Snapshots", name);
  json["name"] = name;
  return json;
}

Json accepted_json(const DiskRequest& request, Json creation_data) {
  Json properties = {{"creationData", std::move(creation_data)}};
  if (request.size_gb != 0) properties["diskSizeGB"] = request.size_gb;
  properties["provisioningState"] = "Updating";
  properties["isArmResource"] = true;
  return {{"sku", {{"name", request.storage_type}}},
          {"properties", std::move(properties)},
          {"location", request.location},
          {"tags", tags_json(request.tags)}};
}

bool has_access(const Snapshot& snapshot, std::int64_t now) { return snapshot.access && now < snapshot.access->expiry; }

}  // namespace sim
