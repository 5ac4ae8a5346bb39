#include "sim/machine_routes.h"

#include <optional>
#include <utility>

#include "sim/list_page.h"
#include "sim/machine_json.h"
#include "sim/machine_request.h"
#include "sim/operation_routes.h"
#include "sim/random_text.h"
#include "sim/request_body.h"

namespace sim {
namespace {

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

/// Calls `use` with every disk of the machine.
template <typename Use>
void for_each_disk(const Machine& machine, Use use) {
  use(machine.os_disk);
  for (const MachineDisk& disk : machine.data_disks) use(disk);
}

/// Makes the machine's managed disks and interfaces its own, or, without an owner, nobody's.
void set_owner(Subscription& subscription, const Machine& machine, const std::optional<Reference>& owner) {
  for_each_disk(machine, [&](const MachineDisk& disk) {
    if (disk.managed_disk)
      subscription.resource_groups.at(disk.managed_disk->group).disks.at(disk.managed_disk->name).machine = owner;
  });
  for (const MachineNic& entry : machine.nics) {
    NetworkInterface& nic = subscription.resource_groups.at(entry.nic.group).nics.at(entry.nic.name);
    nic.machine = owner;
    nic.primary = entry.primary;
  }
}

void check_no_change_goes_on(const Cloud& cloud, const char* operation, const Named<Machine>::value_type& named) {
  const auto& [name, machine] = named;
  if (!machine.change || !in_progress(cloud, machine.change->operation)) return;
  throw Refusal(409, "OperationNotAllowed",
                std::string("Operation '") + operation + "' is not allowed on VM '" + name +
                    "' since another operation is in progress.");
}

/// The machine as it will be, with what only the present one knows.
void keep_identity(const Machine& present, Machine& machine) {
  const auto refuse_change_of = [](const std::string& property) {
    throw Refusal(409, "PropertyChangeNotAllowed", "Changing property '" + property + "' is not allowed.", property);
  };
  const MachineDisk& disk = machine.os_disk;
  if (disk.vhd != present.os_disk.vhd) refuse_change_of("osDisk.vhd.uri");
  if (disk.managed_disk != present.os_disk.managed_disk) refuse_change_of("osDisk.managedDisk.id");
  if (disk.create_option != present.os_disk.create_option) refuse_change_of("osDisk.createOption");
  if (disk.name != present.os_disk.name) refuse_change_of("osDisk.name");
  machine.vm_id = present.vm_id;
  machine.power_state = present.power_state;
  machine.admin_user = present.admin_user;
}

Response put_machine(Cloud& cloud, const Call& call) {
  constexpr std::size_t longest_name = 64;
  const GroupScope scope = group_of(cloud, call);
  const auto present = scope.group.machines.find(call.path.at("name"));
  const bool is_new = present == scope.group.machines.end();
  const std::string name = is_new ? call.path.at("name") : present->first;
  check_name(name, longest_name);
  if (!is_new) check_no_change_goes_on(cloud, "createOrUpdate", *present);
  Machine machine = requested_machine(cloud, scope, call, name);
  machine.change = PendingChange{};
  if (is_new) {
    machine.vm_id = new_guid();
    machine.change = PendingChange{.provisioning_state = "Creating", .power_state = "starting"};
  } else {
    keep_identity(present->second, machine);
    set_owner(scope.subscription, present->second, std::nullopt);
  }
  set_owner(scope.subscription, machine, Reference{scope.name, name});
  if (const auto& os = machine.os_disk.managed_disk) {
    scope.subscription.resource_groups.at(os->group).disks.at(os->name).os_type = machine.os_type;
  }
  machine.change->operation = start_operation(cloud, scope.subscription, machine_operation);
  const auto made = scope.group.machines.insert_or_assign(name, std::move(machine)).first;
  return resource_response(cloud, call, made->second.change->operation, is_new,
                           machine_json(cloud, scope.subscription.id, scope.name, *made, InstanceView::left_out));
}

/// Its disks, VHDs and interfaces stay.
Response remove(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const auto found = scope.group.machines.find(call.path.at("name"));
  if (found == scope.group.machines.end()) return {.status = 204};
  check_no_change_goes_on(cloud, "delete", *found);
  set_owner(scope.subscription, found->second, std::nullopt);
  scope.group.machines.erase(found);
  return accepted_response(cloud, call, start_operation(cloud, scope.subscription, machine_operation));
}

Response change_power(Cloud& cloud, const Call& call, const char* operation, const std::string& during,
                      const std::string& then) {
  const GroupScope scope = group_of(cloud, call);
  auto& found = resource_of(scope.group.machines, call, resource_type::machine);
  check_no_change_goes_on(cloud, operation, found);
  Machine& machine = found.second;
  if (then == "stopped" && machine.power_state == "deallocated") {
    throw Refusal(409, "OperationNotAllowed",
                  std::string("Operation '") + operation + "' is not allowed on VM '" + found.first +
                      "' since the VM is either deallocated or marked to be deallocated.");
  }
  machine.change =
      PendingChange{.operation = start_operation(cloud, scope.subscription, machine_operation), .power_state = during};
  machine.power_state = then;
  return accepted_response(cloud, call, machine.change->operation);
}

}  // namespace

void add_machine_routes(RouteTable& routes, Cloud& cloud) {
  const std::string machines = group_path(resource_type::machine);
  const std::string path = machines + "/{name}";
  ProviderRoutes provider(routes, cloud, resource_type::machine, api_versions::compute);
  provider.add("GET", machines, machine_list);
  provider.add("GET", path, machine);
  provider.add("PUT", path, put_machine);
  provider.add("DELETE", path, remove);
  provider.add("POST", path + "/start",
               [](Cloud& in, const Call& call) { return change_power(in, call, "start", "starting", "running"); });
  provider.add("POST", path + "/powerOff",
               [](Cloud& in, const Call& call) { return change_power(in, call, "powerOff", "stopping", "stopped"); });
  provider.add("POST", path + "/deallocate", [](Cloud& in, const Call& call) {
    return change_power(in, call, "deallocate", "deallocating", "deallocated");
  });
  ProviderRoutes(routes, cloud, resource_type::vm_size, api_versions::compute)
      .add("GET", "/subscriptions/{subscriptionId}/providers/Microsoft.Compute/locations/{location}/vmSizes",
           size_list);
}

}  // namespace sim
