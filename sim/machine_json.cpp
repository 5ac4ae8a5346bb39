#include "sim/machine_json.h"

#include <utility>

#include "sim/operation_routes.h"
#include "sim/resource_id.h"
#include "sim/resource_json.h"

namespace sim {
namespace {

/// A machine and where it stands, for one description.
class MachineDescription {
 public:
  MachineDescription(const Cloud& cloud, const std::string& subscription_id, const std::string& name,
                     const Machine& machine)
      : cloud_(cloud), subscription_id_(subscription_id), name_(name), machine_(machine) {}

  Json properties(InstanceView view) const {
    Json properties = {{"vmId", machine_.vm_id},
                       {"hardwareProfile", {{"vmSize", machine_.size}}},
                       {"storageProfile", storage_profile()}};
    // A machine made from disks that existed already has no system that was set up for it.
    if (machine_.os_disk.create_option != "Attach") properties["osProfile"] = os_profile();
    properties["networkProfile"] = network_profile();
    if (machine_.boot_diagnostics) {
      Json diagnostics = {{"enabled", machine_.boot_diagnostics->enabled}};
      const std::string& account = machine_.boot_diagnostics->account;
      if (!account.empty()) diagnostics["storageUri"] = blob_endpoint(cloud_, account);
      properties["diagnosticsProfile"] = {{"bootDiagnostics", std::move(diagnostics)}};
    }
    properties["provisioningState"] = is_changing() ? machine_.change->provisioning_state : "Succeeded";
    if (view == InstanceView::included) properties["instanceView"] = instance_view();
    return properties;
  }

 private:
  bool is_changing() const { return machine_.change && in_progress(cloud_, machine_.change->operation); }

  const std::string& power_state() const {
    return is_changing() && !machine_.change->power_state.empty() ? machine_.change->power_state : machine_.power_state;
  }

  Json storage_profile() const {
    Json profile = Json::object();
    if (machine_.image) {
      profile["imageReference"] = {{"publisher", machine_.image->publisher},
                                   {"offer", machine_.image->offer},
                                   {"sku", machine_.image->sku},
                                   {"version", machine_.image->version}};
    }
    profile["osDisk"] = disk({{"osType", machine_.os_type}}, machine_.os_disk);
    Json data_disks = Json::array();
    for (const MachineDisk& data : machine_.data_disks) data_disks.push_back(disk({{"lun", data.lun}}, data));
    profile["dataDisks"] = std::move(data_disks);
    return profile;
  }

  /// A VHD stands before the caching, a managed disk behind it.
  Json disk(Json description, const MachineDisk& disk) const {
    description["name"] = disk.name;
    description["createOption"] = disk.create_option;
    if (disk.vhd) description["vhd"] = {{"uri", blob_address(cloud_, *disk.vhd)}};
    description["caching"] = disk.caching;
    if (disk.managed_disk) {
      Json managed = Json::object();
      if (!disk.storage_type.empty()) managed["storageAccountType"] = disk.storage_type;
      managed["id"] = resource_id(subscription_id_, *disk.managed_disk, resource_type::disk);
      description["managedDisk"] = std::move(managed);
    }
    if (!disk.size_hidden) description["diskSizeGB"] = disk.size_gb;
    return description;
  }

  Json os_profile() const {
    Json profile = {{"computerName", name_}, {"adminUsername", machine_.admin_user}};
    if (machine_.os_type == "Windows") {
      profile["windowsConfiguration"] = {{"provisionVMAgent", true}, {"enableAutomaticUpdates", true}};
    } else {
      profile["linuxConfiguration"] = {{"disablePasswordAuthentication", false}};
    }
    profile["secrets"] = Json::array();
    return profile;
  }

  /// An only interface is primary without saying so.
  Json network_profile() const {
    Json interfaces = Json::array();
    for (const MachineNic& nic : machine_.nics) {
      Json entry = {{"id", resource_id(subscription_id_, nic.nic, resource_type::nic)}};
      if (machine_.nics.size() > 1) entry["properties"] = {{"primary", nic.primary}};
      interfaces.push_back(std::move(entry));
    }
    return {{"networkInterfaces", std::move(interfaces)}};
  }

  Json instance_view() const {
    Json disks = Json::array();
    disks.push_back(disk_view(machine_.os_disk));
    for (const MachineDisk& data : machine_.data_disks) disks.push_back(disk_view(data));
    Json statuses = Json::array({provisioning_status()});
    if (!power_state().empty()) {
      statuses.push_back(
          {{"code", "PowerState/" + power_state()}, {"level", "Info"}, {"displayStatus", "VM " + power_state()}});
    }
    return {{"vmAgent", agent_view()}, {"disks", std::move(disks)}, {"statuses", std::move(statuses)}};
  }

  Json agent_view() const {
    const bool running = power_state() == "running";
    const Json status = running ? Json{{"code", "ProvisioningState/succeeded"},
                                       {"level", "Info"},
                                       {"displayStatus", "Ready"},
                                       {"message", "Guest Agent is running"},
                                       {"time", time_text(cloud_.clock.now())}}
                                : Json{{"code", "ProvisioningState/Unavailable"},
                                       {"level", "Warning"},
                                       {"displayStatus", "Not Ready"},
                                       {"message", "VM status blob is found but not yet populated."},
                                       {"time", time_text(cloud_.clock.now())}};
    return {{"vmAgentVersion", running ? "2.2.52" : "Unknown"}, {"statuses", Json::array({status})}};
  }

  static Json disk_view(const MachineDisk& disk) {
    return {{"name", disk.name}, {"statuses", Json::array({provisioning_status()})}};
  }

  static Json provisioning_status() {
    return {{"code", "ProvisioningState/succeeded"},
            {"level", "Info"},
            {"displayStatus", "Provisioning succeeded"},
            {"time", time_text(world_creation_time)}};
  }

  const Cloud& cloud_;
  const std::string& subscription_id_;
  const std::string& name_;
  const Machine& machine_;
};

}  // namespace

Json machine_json(const Cloud& cloud, const std::string& subscription_id, const std::string& group,
                  const Named<Machine>::value_type& named, InstanceView view) {
  const auto& [name, machine] = named;
  Json json = {{"properties", MachineDescription(cloud, subscription_id, name, machine).properties(view)},
               {"type", resource_type::machine},
               {"location", machine.location}};
  if (machine.tags) json["tags"] = tags_json(*machine.tags);
  if (machine.plan) {
    json["plan"] = {
        {"name", machine.plan->name}, {"publisher", machine.plan->publisher}, {"product", machine.plan->product}};
  }
  json["id"] = resource_id(subscription_id, group, resource_type::machine, name);
  json["name"] = name;
  return json;
}

}  // namespace sim
