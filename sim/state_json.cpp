#include "sim/state_json.h"

#include <string>

#include "sim/disk_json.h"
#include "sim/machine_json.h"
#include "sim/network_json.h"
#include "sim/resource_json.h"

namespace sim {
namespace {

void add_group(const Cloud& cloud, const GroupScope& scope, Json& state) {
  for (const auto& named : scope.group.machines) {
    state["machines"].push_back(machine_json(cloud, scope.subscription.id, scope.name, named, InstanceView::included));
  }
  for (const auto& named : scope.group.disks) state["disks"].push_back(disk_json(scope, named));
  for (const auto& named : scope.group.nics) state["networkInterfaces"].push_back(nic_json(scope, named));
  for (const auto& named : scope.group.public_addresses) {
    state["publicIPAddresses"].push_back(public_address_json(scope, named));
  }
  for (const auto& named : scope.group.snapshots) {
    const Json& json = state["snapshots"].emplace_back(snapshot_json(scope, named, cloud.clock.now()));
    if (!has_access(named.second, cloud.clock.now())) continue;
    state["exports"].push_back({{"snapshot", json.at("id")}, {"expires", time_text(named.second.access->expiry)}});
  }
}

}  // namespace

Json state_json(Cloud& cloud) {
  Json state = Json::object();
  for (const char* kind : {"machines", "disks", "snapshots", "networkInterfaces", "publicIPAddresses", "exports"}) {
    state[kind] = Json::array();
  }
  for (Subscription& subscription : cloud.world.subscriptions) {
    for (auto& [name, group] : subscription.resource_groups) add_group(cloud, {subscription, name, group}, state);
  }
  return state;
}

}  // namespace sim
