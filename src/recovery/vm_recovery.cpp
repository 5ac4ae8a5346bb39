#include "src/recovery/vm_recovery.h"

#include "src/base/logging.h"
#include "src/config/rest_server.h"
#include "src/model/azurevm.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"
#include "src/object/restore_state.h"
#include "src/recovery/attached_disks.h"
#include "src/recovery/recovery_target.h"
#include "src/recovery/recreate_vm.h"

namespace azurestackpi {
namespace {

// What a restore session remembers of one machine.
struct RestoredMachine {
  const std::vector<RestoredDisk>& disks;
  vm_details_t entry;  // put together from its metadata objects
  vm_details_t saved;  // as it was backed up
};

Status CheckRefusal(const FunctionLog& log, const std::string& vm_path) {
  const auto refusal = vm_validation_status().find(vm_path);
  if (refusal == vm_validation_status().end() || refusal->second == kOk) {
    return kOk;
  }
  log.error("The target of %s was refused when it was checked: %d : %s", vm_path.c_str(),
            static_cast<int>(refusal->second), StatusText(refusal->second).c_str());
  return refusal->second;
}

// A machine with half a disk would start, and fail later.
Status CheckComplete(const FunctionLog& log, const std::vector<RestoredDisk>& disks) {
  Status status = kOk;
  for (const RestoredDisk& disk : disks) {
    if (!disk.complete) {
      log.error("Disk %s is not restored completely", disk.path.c_str());
      status = kOperationFailed;
    }
  }
  return status;
}

// The saved description holds one machine, or nothing that a machine could be made of.
Status ParseConfiguration(const FunctionLog& log, const std::string& configuration, vm_details_t& saved) {
  Status status = azurevm::ParseResources(configuration, saved);
  if (status == kOk && saved.m_id.empty()) {
    status = kBadJson;
  }
  if (status != kOk) {
    log.error("Failed to parse configuration %d", static_cast<int>(status));
    return kOperationFailed;
  }
  return kOk;
}

// Disks of the other kind would be refused once address and interface are made, and as something else.
Status CheckKind(const FunctionLog& log, const std::vector<RestoredDisk>& disks, bool managed) {
  for (const RestoredDisk& disk : disks) {
    if (azurestackpi_is_mdpath(disk.path) != managed) {
      log.error("Disk %s is not of the kind that UseManagedDisk=%s tells", disk.path.c_str(), managed ? "Yes" : "No");
      return kOperationFailed;
    }
  }
  return kOk;
}

void LogDisks(const FunctionLog& log, const std::string& vm_path, const std::vector<RestoredDisk>& disks,
              const vm_env_t& env) {
  log.detail("vmpath: %s", vm_path.c_str());
  for (const RestoredDisk& disk : disks) {
    log.detail("subid: %s, rg: %s, vmname: %s, vhdname: %s", env.m_subscription_id.c_str(),
               env.m_resource_group.c_str(), env.m_vm_name.c_str(), disk.name.c_str());
  }
}

Status Recreate(const aapi_pgn_server_handle_s& server, const vm_env_t& env, bool managed,
                const std::vector<AttachedDisk>& disks) {
  azs_rest_server_s rest;
  if (const Status status = InitRestServerHandle(&server, rest); status != kOk) {
    return status;
  }
  recreateVm machine(rest, env);
  return managed ? machine.recreateManaged(disks) : machine.recreate(disks);
}

Status Recover(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const std::string& vm_path,
               RestoredMachine& machine) {
  vm_env_t env;
  Status status = ChooseTarget(server, vm_path, machine.saved, machine.entry, env);
  if (status != kOk) {
    return status;
  }
  LogDisks(log, vm_path, machine.disks, env);
  status = DescribeMachine(server, machine.saved, machine.entry, env);
  if (status != kOk) {
    return status;
  }
  const bool managed = machine.entry.m_is_managed;
  std::vector<AttachedDisk> disks;
  status = CheckKind(log, machine.disks, managed);
  if (status == kOk) {
    status = OrderDisks(machine.saved, machine.disks, managed, disks);
  }
  return status == kOk ? Recreate(server, env, managed, disks) : status;
}

Status RecoverRemembered(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const std::string& vm_path) {
  if (const Status status = CheckRefusal(log, vm_path); status != kOk) {
    return status;
  }
  const auto disks = vm_recovery_map().find(vm_path);
  if (disks == vm_recovery_map().end() || disks->second.empty()) {
    log.error("Failed to find VHD list for this VM.");
    return kOperationFailed;
  }
  const auto entry = vm_details_recovery_map().find(vm_path);
  if (entry == vm_details_recovery_map().end()) {
    log.error("Failed to find Updated configuration for this VM.");
    return kOperationFailed;
  }
  RestoredMachine machine{disks->second, entry->second, {}};
  if (const Status status = ParseConfiguration(log, machine.entry.m_json, machine.saved); status != kOk) {
    return status;
  }
  const Status status = CheckComplete(log, machine.disks);
  return status == kOk ? Recover(log, server, vm_path, machine) : status;
}

// The disks are whole and may serve without the machine; an operator who does not want them has to know them.
void LogWhatStays(const FunctionLog& log, const std::string& vm_path) {
  const auto disks = vm_recovery_map().find(vm_path);
  if (disks == vm_recovery_map().end()) {
    return;
  }
  for (const RestoredDisk& disk : disks->second) {
    if (disk.complete) {
      log.error("Disk %s was restored as %s and stays", disk.path.c_str(), disk.name.c_str());
    }
  }
}

}  // namespace

Status azurestackpi_recover_vm(const aapi_pgn_server_handle_s& server, const std::string& vm_path) {
  const FunctionLog log(__func__);
  const Status status = RecoverRemembered(log, server, vm_path);
  if (status != kOk) {
    log.error("Machine %s is not recovered: %d", vm_path.c_str(), static_cast<int>(status));
    LogWhatStays(log, vm_path);
  }
  return status;
}

}  // namespace azurestackpi
