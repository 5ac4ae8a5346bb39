#include "src/recovery/recreate_vm.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "src/base/text.h"
#include "src/object/resource_groups.h"
#include "src/recovery/create_nic.h"
#include "src/recovery/request_bodies.h"

namespace azurestackpi {
namespace {

bool IsOneOf(const std::string& state, std::initializer_list<const char*> states) {
  return std::ranges::any_of(states, [&](const char* known) { return EqualIgnoringCase(state, known); });
}

void LogDisks(const FunctionLog& log, const std::string& nic_id, const std::vector<AttachedDisk>& disks) {
  log.detail("METADATA_RECOVERY: created resource nic : %s", nic_id.c_str());
  const char* kind = "os";
  for (const AttachedDisk& disk : disks) {
    log.detail("METADATA_RECOVERY: created resource %s disk : %s", kind, disk.where.c_str());
    kind = "data";
  }
}

}  // namespace

// A resource group that something of the machine is in.
struct recreateVm::GroupCheck {
  const char* kind;
  const std::string& group;
  const std::string& name;                  // of that thing
  const char* group_is = "resource group";  // how the line of a missing group begins to tell it
  const char* link = "for";
};

recreateVm::recreateVm(const azs_rest_server_s& rest, vm_env_t env) : rest_(rest), env_(std::move(env)), calls_(rest) {}

Status recreateVm::recreate(const std::vector<AttachedDisk>& vhds) { return Create(Kind::kUnmanaged, vhds); }

Status recreateVm::recreateManaged(const std::vector<AttachedDisk>& managed_disks) {
  return Create(Kind::kManaged, managed_disks);
}

Status recreateVm::Create(Kind kind, const std::vector<AttachedDisk>& disks) {
  const FunctionLog log(kind == Kind::kManaged ? "recreateManaged" : "recreate");
  if (const Status status = CheckGroups(log, kind); status != kOk) {
    return status;
  }
  if (const Status status = CheckVmIsNew(log, kind); status != kOk) {
    return status;
  }
  std::string nic_id;
  if (const Status status = MakeNic(log, kind, nic_id); status != kOk) {
    return status;
  }
  LogDisks(log, nic_id, disks);
  const auto body_of = kind == Kind::kManaged ? &ManagedVmBody : &UnmanagedVmBody;
  if (const Status status = PutVm(log, kind, body_of(env_, nic_id, disks)); status != kOk) {
    log.error("The network interface %s was made for VM %s and stays", nic_id.c_str(), env_.m_vm_name.c_str());
    if (!public_ip_id_.empty()) {
      log.error("The public IP address %s was made for VM %s and stays", public_ip_id_.c_str(), env_.m_vm_name.c_str());
    }
    return status;
  }
  return updatePowerState();
}

// Resource groups.

Status recreateVm::CheckGroups(const FunctionLog& log, Kind kind) const {
  const bool managed = kind == Kind::kManaged;
  const GroupCheck checks[] = {
      {"VM", env_.m_resource_group, env_.m_vm_name, "resource group", managed ? "of" : "for"},
      {"NSG", env_.m_nsg_resource_group, env_.m_nsg_name, managed ? "resourcegroup" : "resource group"},
      {"VNET", env_.m_vnet_resource_group, env_.m_vnet_name}};
  for (const GroupCheck& check : checks) {
    if (const Status status = CheckGroup(log, check); status != kOk) {
      return status;
    }
  }
  return kOk;
}

Status recreateVm::CheckGroup(const FunctionLog& log, const GroupCheck& check) const {
  const char* const group = check.group.c_str();
  const int error = kConfigurationInvalid;
  if (check.group.empty()) {
    log.error("Failed to find resource group %s for %s %s error=%d", group, check.kind, check.name.c_str(), error);
    log.error("Ensure that the resource group is provided");
    return kConfigurationInvalid;
  }
  if (ValidateRG(check.group, env_.m_subscription_id) != kOk) {
    log.error("Failed to find %s %s %s %s %s under subscription ID %s error=%d", check.group_is, group, check.link,
              check.kind, check.name.c_str(), env_.m_subscription_id.c_str(), error);
    log.error("Ensure that the resource group provided for %s is defined in the target subscription ", check.kind);
    return kConfigurationInvalid;
  }
  return kOk;
}

Status recreateVm::ValidateRG(const std::string& resource_group, const std::string& subscription) const {
  const FunctionLog log(__func__);
  if (const Status status = azurestackpi_get_rg_from_subscription(rest_.management_endpoint, subscription);
      status != kOk) {
    log.error("The resource groups of subscription %s are not known: %d", subscription.c_str(),
              static_cast<int>(status));
    return status;
  }
  if (!HasResourceGroup(subscription, resource_group)) {
    return kResourceNotFound;
  }
  log.flow("Resource group name %s specified is present under target subscription %s", resource_group.c_str(),
           subscription.c_str());
  return kOk;
}

// The machine.

Status recreateVm::SetVmUrl(const FunctionLog& log, const std::string& action) {
  const std::string sub_url = "subscriptions/" + env_.m_subscription_id + "/resourcegroups/" + env_.m_resource_group +
                              "/providers/Microsoft.Compute/virtualMachines/" + env_.m_vm_name + "/" + action +
                              "?api-version=" + env_.m_compute_api_version;
  log.flow("SUB URL : %s", sub_url.c_str());
  return CreateUrl(sub_url);
}

// A PUT would change a machine of that name, and take its disks away.
Status recreateVm::CheckVmIsNew(const FunctionLog& log, Kind kind) {
  if (const Status status = SetVmUrl(log, ""); status != kOk) {
    return status;
  }
  const ResourceCalls::Presence presence = calls_.Look();
  if (presence == ResourceCalls::Presence::kAbsent) {
    return kOk;
  }
  if (presence == ResourceCalls::Presence::kThere) {
    log.error("VM %s is there already and is left as it is", env_.m_vm_name.c_str());
    return RefuseVm(log, kind);
  }
  log.error("It cannot be told whether VM %s is there already: %s", env_.m_vm_name.c_str(), calls_.WhyFailed().c_str());
  return kRecoveryFailed;
}

Status recreateVm::MakeNic(const FunctionLog& log, Kind kind, std::string& nic_id) {
  createNic nic(rest_, env_);
  if (nic.addNic(nic_id) == kOk) {
    public_ip_id_ = nic.public_ip_id();
    return kOk;
  }
  if (kind == Kind::kManaged) {
    log.error("NIC creation failed. error=%d", static_cast<int>(kResourceNotCreated));
  } else {
    log.error("NIC creation failed.");
  }
  return kResourceNotCreated;
}

Status recreateVm::PutVm(const FunctionLog& log, Kind kind, const std::string& body) {
  log.flow("reqbody %s", body.c_str());
  if (const Status status = SetVmUrl(log, ""); status != kOk) {
    return status;
  }
  const Status sent = calls_.Send(kPut, &body, kLongRequest);
  if (sent == kOk && (calls_.HttpStatus() == 200 || calls_.HttpStatus() == 201)) {
    return kOk;
  }
  log.error("VM %s could not be made: %s", env_.m_vm_name.c_str(), calls_.WhyNotMade().c_str());
  return RefuseVm(log, kind);
}

Status recreateVm::RefuseVm(const FunctionLog& log, Kind kind) const {
  if (kind == Kind::kManaged) {
    log.error(
        "Failed to create the VM %s. Either the VM with the same name exists or the recovery operation quota limit has "
        "exceeded. Delete the existing VM and restore the VM with different name.",
        env_.m_vm_name.c_str());
  } else {
    log.error(
        "Failed to Create vm %s. Either VM with same name already exists or Operation not allowed. Delete the existing "
        "same name VM or restore the VM with different name. error=%d",
        env_.m_vm_name.c_str(), static_cast<int>(kRecoveryFailed));
  }
  log.error("For details check the HTTP response log message .");
  return kRecoveryFailed;
}

// Its power state.

Status recreateVm::updatePowerState() {
  const FunctionLog log(__func__);
  log.flow("Enter");
  const std::string& state = env_.m_power_state;
  if (state.empty()) {
    log.flow("PowerState not specified.");
    return kOk;
  }
  if (EqualIgnoringCase(state, "running")) {
    log.flow("PowerState specified is running, not updating.");
    return kOk;
  }
  if (IsOneOf(state, {"poweroff", "stopped"})) {
    return SendPowerAction(log, "poweroff");
  }
  if (IsOneOf(state, {"deallocate", "deallocated"})) {
    return SendPowerAction(log, "deallocate");
  }
  log.error("Invalid PowerState specified.");
  return kOk;
}

Status recreateVm::SendPowerAction(const FunctionLog& log, const char* action) {
  if (const Status status = SetVmUrl(log, action); status != kOk) {
    return status;
  }
  const Status sent = calls_.Send(kPost, nullptr, kLongRequest);
  if (sent == kOk && calls_.HttpStatus() < 400) {
    return kOk;
  }
  log.error("VM %s was made, but \"%s\" failed: %s", env_.m_vm_name.c_str(), action, calls_.WhyFailed().c_str());
  return kOperationFailed;
}

}  // namespace azurestackpi
