#include "sim/disk_routes.h"

#include <optional>
#include <string_view>
#include <utility>

#include "sim/disk_json.h"
#include "sim/disk_list.h"
#include "sim/disk_request.h"
#include "sim/operation_routes.h"
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
  return accepted_response(cloud, call, scope.subscription, start_operation(cloud, scope.subscription, std::nullopt));
}

/// The blob that an address of one of the world's accounts names, in either scheme and with or without a port.
std::optional<Blob> blob_at(const World& world, std::string_view address) {
  const std::size_t scheme = address.find("://");
  if (scheme == std::string_view::npos) return std::nullopt;
  address.remove_prefix(scheme + 3);
  const std::size_t path = address.find('/');
  const std::size_t name = path == std::string_view::npos ? path : address.find('/', path + 1);
  if (name == std::string_view::npos || name + 1 == address.size()) return std::nullopt;
  const std::string_view authority = address.substr(0, path);
  const std::string_view host = authority.substr(0, authority.find(':'));
  const auto account = world.storage_accounts.find(std::string(host.substr(0, host.find('.'))));
  if (account == world.storage_accounts.end()) return std::nullopt;
  if (!equal_ignoring_case(host, account->first + ".blob." + account->second.endpoint_suffix)) return std::nullopt;
  return Blob{account->first, percent_decoded(address.substr(path + 1, name - path - 1)),
              percent_decoded(address.substr(name + 1))};
}

/// Throws Refusal when the body's source is no blob of the account that it names.
Blob source_blob(const World& world, const DiskRequest& request) {
  const std::optional<Blob> blob = blob_at(world, request.source_uri);
  if (!blob) {
    throw Refusal(400, "InvalidParameter",
                  "The value '" + request.source_uri + "' of parameter 'creationData.sourceUri' is no blob's address.");
  }
  if (request.storage_account_id.empty()) return *blob;
  const StorageAccount& account = world.storage_accounts.at(blob->account);
  const std::optional<ResourceId> id = parse_resource_id(request.storage_account_id);
  const bool same = id && equal_ignoring_case(id->type, resource_type::storage_account) &&
                    equal_ignoring_case(id->subscription_id, account.subscription_id) &&
                    equal_ignoring_case(id->group, account.group) && equal_ignoring_case(id->name, blob->account);
  if (same) return *blob;
  throw Refusal(400, "InvalidParameter",
                "The value '" + request.storage_account_id +
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
    throw Refusal(
        400, "InvalidParameter",
        "The value '" + request.create_option + "' of parameter 'creationData.createOption' is not supported.");
  }
  if (request.size_gb == 0) throw Refusal(400, "InvalidParameter", "Required parameter 'diskSizeGB' is missing.");
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
  disk.second.operation =
      start_operation(cloud, scope.subscription, error ? std::nullopt : std::optional(disk_json(scope, disk)), error);
  const std::string operation = disk.second.operation;
  if (!error) scope.group.disks.insert(std::move(disk));
  return accepted_response(cloud, call, scope.subscription, operation,
                           accepted_json(request, {{"createOption", "Import"}, {"sourceUri", request.source_uri}}));
}

}  // namespace

void add_disk_routes(RouteTable& routes, Cloud& cloud) {
  const std::string group = group_path(resource_type::disk);
  const auto add = [&](const char* method, const std::string& path, Response (*answer)(Cloud&, const Call&)) {
    routes.add({.service = Service::management,
                .method = method,
                .path = path,
                .answer = [&cloud, answer](const Call& call) { return answer(cloud, call); },
                .api_versions = disk_versions,
                .resource_type = resource_type::disk});
  };
  const auto list = [](Cloud& in, const Call& call) { return disk_list(in, call, &ResourceGroup::disks, disk_json); };
  add("GET", "/subscriptions/{subscriptionId}/providers/" + resource_type::disk, list);
  add("GET", group, list);
  add("GET", group + "/{name}", [](Cloud& in, const Call& call) {
    const GroupScope scope = group_of(in, call);
    return printed_json_response(200, disk_json(scope, disk_of(in, scope, call)));
  });
  add("PUT", group + "/{name}", create);
  add("DELETE", group + "/{name}", remove);
}

}  // namespace sim
