#include "sim/snapshot_routes.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "sim/disk_json.h"
#include "sim/disk_list.h"
#include "sim/disk_request.h"
#include "sim/operation_routes.h"
#include "sim/random_text.h"
#include "sim/request_body.h"
#include "sim/scope.h"

namespace sim {
namespace {

using NamedSnapshot = Named<Snapshot>::value_type;

/// The snapshot of the path; those that are still being made are not there yet.
NamedSnapshot& snapshot_of(Cloud& cloud, const GroupScope& scope, const Call& call) {
  NamedSnapshot& found = resource_of(scope.group.snapshots, call, resource_type::snapshot);
  if (in_progress(cloud, found.second.operation)) throw resource_not_found(call, resource_type::snapshot);
  return found;
}

/// The disk that a snapshot is asked for. Throws Refusal.
const ManagedDisk& source_disk(const Cloud& cloud, const GroupScope& scope, const DiskRequest& request) {
  const std::optional<ResourceId> id = parse_resource_id(request.source_id);
  if (!id || !equal_ignoring_case(id->type, resource_type::disk)) {
    throw bad_parameter("The value '" + request.source_id +
                        "' of parameter 'creationData.sourceResourceId' is no disk's id.");
  }
  if (!equal_ignoring_case(id->subscription_id, scope.subscription.id)) {
    throw bad_parameter("The disk '" + request.source_id + "' is in another subscription.");
  }
  const auto& groups = scope.subscription.resource_groups;
  const auto group = groups.find(id->group);
  const ManagedDisk* disk = nullptr;
  if (group != groups.end()) {
    const auto found = group->second.disks.find(id->name);
    if (found != group->second.disks.end() && !in_progress(cloud, found->second.operation)) disk = &found->second;
  }
  if (disk == nullptr) throw Refusal(404, "NotFound", "Disk " + id->name + " is not found.");
  if (!equal_ignoring_case(disk->location, request.location)) {
    throw bad_parameter("The disk " + id->name + " is in location '" + disk->location +
                        "', the snapshot is asked for in '" + request.location + "'.");
  }
  return *disk;
}

bool same_source(const std::string& left, const std::string& right) {
  const auto bare = [](const std::string& id) { return std::string_view(id).substr(id.starts_with('/') ? 1 : 0); };
  return equal_ignoring_case(bare(left), bare(right));
}

Snapshot new_snapshot(Cloud& cloud, const DiskRequest& request, const ManagedDisk& disk) {
  return {.location = disk.location,
          .storage_type = request.storage_type,
          .size_gb = disk.size_gb,
          .os_type = disk.os_type,
          .source_id = request.source_id,
          .created = cloud.clock.now(),
          .tags = request.tags,
          .container = disk.container,
          .data = cloud.disks->snapshot(disk.container)};
}

/// The data are those of this moment, however long the operation takes. The same request once more changes nothing.
Response create(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const DiskRequest request = disk_request(cloud, scope, call);
  if (!equal_ignoring_case(request.create_option, "copy")) {
    throw bad_parameter("The value '" + request.create_option +
                        "' of parameter 'creationData.createOption' is not supported.");
  }
  const ManagedDisk& disk = source_disk(cloud, scope, request);
  const std::string& name = call.path.at("name");
  auto found = scope.group.snapshots.find(name);
  if (found == scope.group.snapshots.end()) {
    found = scope.group.snapshots.emplace(name, new_snapshot(cloud, request, disk)).first;
  } else if (!same_source(found->second.source_id, request.source_id)) {
    throw Refusal(409, "PropertyChangeNotAllowed",
                  "Changing property 'creationData.sourceResourceId' of snapshot " + found->first + " is not allowed.");
  }
  const std::string operation =
      start_operation(cloud, scope.subscription, disk_operation, snapshot_json(scope, *found, cloud.clock.now()));
  if (found->second.operation.empty()) found->second.operation = operation;
  return accepted_response(cloud, call, operation,
                           accepted_json(request, {{"createOption", "Copy"}, {"sourceResourceId", request.source_id}}));
}

/// Reads the body, in seconds.
std::int64_t access_duration(const Call& call) {
  std::int64_t duration = 0;
  read_body(call, [&duration](ObjectReader& body) {
    if (!equal_ignoring_case(body.text("access", ""), "Read")) {
      throw bad_parameter("The value of parameter 'access' is invalid. Snapshots can be read only.", "access");
    }
    duration = body.positive_number("durationInSeconds");
  });
  constexpr std::int64_t longest = 0xffffffff;
  if (duration <= longest) return duration;
  throw bad_parameter("The value of parameter 'durationInSeconds' is invalid.", "durationInSeconds");
}

void end_access(Cloud& cloud, Snapshot& snapshot) {
  if (snapshot.access) cloud.disks->withdraw(snapshot.container, snapshot.access->policy);
  snapshot.access.reset();
}

Response begin_get_access(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  auto& [name, snapshot] = snapshot_of(cloud, scope, call);
  const std::int64_t duration = access_duration(call);
  if (has_access(snapshot, cloud.clock.now())) {
    throw Refusal(409, "AccessAlreadyGranted",
                  "Snapshot " + name + " has an active shared access signature. End it before granting another.");
  }
  end_access(cloud, snapshot);  // one that has run out
  snapshot.access = SnapshotAccess{new_guid(), cloud.clock.now() + duration};
  const Json output = {{"accessSAS", cloud.disks->grant(snapshot.container, snapshot.data,
                                                        {snapshot.access->policy, snapshot.access->expiry})}};
  return accepted_response(cloud, call, start_operation(cloud, scope.subscription, disk_operation, output));
}

/// Without access there is nothing to do, and that succeeds too.
Response end_get_access(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  end_access(cloud, snapshot_of(cloud, scope, call).second);
  return accepted_response(cloud, call, start_operation(cloud, scope.subscription, disk_operation));
}

Response remove(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const auto found = scope.group.snapshots.find(call.path.at("name"));
  if (found == scope.group.snapshots.end()) return {.status = 204};
  const std::string name = found->first;
  if (in_progress(cloud, found->second.operation)) {
    throw Refusal(409, "OperationNotAllowed", "Snapshot " + name + " is still being created.");
  }
  if (has_access(found->second, cloud.clock.now())) {
    throw Refusal(409, "OperationNotAllowed",
                  "Snapshot " + name + " has an active shared access signature and cannot be deleted.");
  }
  end_access(cloud, found->second);
  cloud.disks->remove_snapshot(found->second.container, found->second.data);
  const std::string container = found->second.container;
  scope.group.snapshots.erase(found);
  remove_unused_data(cloud, container);
  return accepted_response(cloud, call, start_operation(cloud, scope.subscription, disk_operation));
}

}  // namespace

void add_snapshot_routes(RouteTable& routes, Cloud& cloud) {
  const std::string group = group_path(resource_type::snapshot);
  ProviderRoutes provider(routes, cloud, resource_type::snapshot, api_versions::disks);
  const auto list = [](Cloud& in, const Call& call) {
    return disk_list(in, call, &ResourceGroup::snapshots, [&in](const GroupScope& scope, const NamedSnapshot& named) {
      return snapshot_json(scope, named, in.clock.now());
    });
  };
  provider.add("GET", "/subscriptions/{subscriptionId}/providers/" + resource_type::snapshot, list);
  provider.add("GET", group, list);
  provider.add("GET", group + "/{name}", [](Cloud& in, const Call& call) {
    const GroupScope scope = group_of(in, call);
    return printed_json_response(200, snapshot_json(scope, snapshot_of(in, scope, call), in.clock.now()));
  });
  provider.add("PUT", group + "/{name}", create);
  provider.add("DELETE", group + "/{name}", remove);
  provider.add("POST", group + "/{name}/beginGetAccess", begin_get_access);
  provider.add("POST", group + "/{name}/endGetAccess", end_get_access);
}

}  // namespace sim
