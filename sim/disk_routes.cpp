#include "sim/disk_routes.h"

#include <optional>
#include <utility>

#include "sim/disk_json.h"
#include "sim/disk_list.h"
#include "sim/disk_request.h"
#include "sim/operation_routes.h"
#include "sim/request_body.h"
#include "sim/scope.h"

namespace sim {
namespace {

using NamedDisk = Named<ManagedDisk>::value_type;

NamedDisk& disk_of(Cloud& cloud, const GroupScope& scope, const Call& call) {
  NamedDisk& found = resource_of(scope.group.disks, call, resource_type::disk);
  if (in_progress(cloud, found.second.operation)) throw resource_not_found(call, resource_type::disk);
  return found;
}

/// Data that snapshots still need stay.
Response remove(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const auto found = scope.group.disks.find(call.path.at("name"));
  if (found == scope.group.disks.end()) return {.status = 204};
  const auto& [name, disk] = *found;
  if (in_progress(cloud, disk.operation)) {
    throw Refusal(409, "OperationNotAllowed", "Disk " + name + " is still being created.");
  }
  if (disk.machine) {
    throw Refusal(409, "OperationNotAllowed",
                  "Disk " + name + " is attached to VM " +
                      resource_id(scope.subscription.id, *disk.machine, resource_type::machine) + ".");
  }
  const std::string container = disk.container;
  scope.group.disks.erase(found);
  remove_unused_data(cloud, container);
  return accepted_response(cloud, call, start_operation(cloud, scope.subscription, disk_operation));
}

/// Throws Refusal when the body's source is no blob of the account that it names.
Blob source_blob(const World& world, const DiskRequest& request) {
  const std::optional<Blob> blob = blob_at(world, request.source_uri);
  if (!blob) {
    throw bad_parameter("The value '" + request.source_uri +
                        "' of parameter 'creationData.sourceUri' is no blob's address.");
  }
  if (request.storage_account_id.empty()) return *blob;
  const StorageAccount& account = world.storage_accounts.at(blob->account);
  const std::optional<ResourceId> id = parse_resource_id(request.storage_account_id);
  const bool same = id && equal_ignoring_case(id->type, resource_type::storage_account) &&
                    equal_ignoring_case(id->subscription_id, account.subscription_id) &&
                    equal_ignoring_case(id->group, account.group) && equal_ignoring_case(id->name, blob->account);
  if (same) return *blob;
  throw bad_parameter("The value '" + request.storage_account_id +
                      "' of parameter 'creationData.storageAccountId' is not the account of the source blob.");
}

/// Makes the data; what keeps it from that ends the operation rather than the request.
std::optional<OperationError> import_data(DiskStore& disks, const Blob& source, ManagedDisk& disk) {
  try {
    disk.container = disks.import(source, disk.size_gb);
  } catch (const std::invalid_argument& flaw) {
    return OperationError{"InvalidVhd",
                          "The blob " + disk.source_uri + " is not a supported VHD: " + flaw.what() + "."};
  } catch (const BlobError& error) {
    if (error.status() != 404) throw;
    return OperationError{"BlobNotFound", "The blob " + disk.source_uri + " does not exist."};
  }
  return std::nullopt;
}

/// A disk with the data that the blob holds now. Its size has to be told.
Response create(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const DiskRequest request = disk_request(cloud, scope, call);
  if (!equal_ignoring_case(request.create_option, "Import")) {
    throw bad_parameter("The value '" + request.create_option +
                        "' of parameter 'creationData.createOption' is not supported.");
  }
  if (request.size_gb == 0) throw bad_parameter("Required parameter 'diskSizeGB' is missing.");
  const Blob source = source_blob(cloud.world, request);
  const std::string& name = call.path.at("name");
  if (scope.group.disks.count(name) != 0) throw Refusal(409, "Conflict", "Disk " + name + " exists already.");
  NamedDisk disk{name, ManagedDisk{.location = request.location,
                                   .storage_type = request.storage_type,
                                   .size_gb = request.size_gb,
                                   .create_option = "Import",
                                   .created = cloud.clock.now(),
                                   .source_uri = request.source_uri}};
  const std::optional<OperationError> error = import_data(*cloud.disks, source, disk.second);
  disk.second.operation = start_operation(cloud, scope.subscription, disk_operation,
                                          error ? std::nullopt : std::optional(disk_json(scope, disk)), error);
  const std::string operation = disk.second.operation;
  if (!error) scope.group.disks.insert(std::move(disk));
  return accepted_response(cloud, call, operation,
                           accepted_json(request, {{"createOption", "Import"}, {"sourceUri", request.source_uri}}));
}

}  // namespace

void add_disk_routes(RouteTable& routes, Cloud& cloud) {
  const std::string group = group_path(resource_type::disk);
  ProviderRoutes provider(routes, cloud, resource_type::disk, api_versions::disks);
  const auto list = [](Cloud& in, const Call& call) { return disk_list(in, call, &ResourceGroup::disks, disk_json); };
  provider.add("GET", "/subscriptions/{subscriptionId}/providers/" + resource_type::disk, list);
  provider.add("GET", group, list);
  provider.add("GET", group + "/{name}", [](Cloud& in, const Call& call) {
    const GroupScope scope = group_of(in, call);
    return printed_json_response(200, disk_json(scope, disk_of(in, scope, call)));
  });
  provider.add("PUT", group + "/{name}", create);
  provider.add("DELETE", group + "/{name}", remove);
}

}  // namespace sim
