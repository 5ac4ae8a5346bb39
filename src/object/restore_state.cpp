#include "src/object/restore_state.h"

#include <algorithm>

#include "src/base/logging.h"
#include "src/base/process_state.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"

namespace azurestackpi {
namespace {

ProcessValue<RecoveryMap> restored_disks("restored disks by machine");
ProcessValue<ValidationMap> refusals("refused targets by machine");
ProcessValue<AcceptedTargets> accepted("accepted targets by path");
ProcessValue<StagingAccountMap> staging_accounts("staging accounts by machine");
ProcessValue<ResourceGroupMap> resource_groups("resource groups by subscription");
ProcessValue<ManagedTargetMap> managed_targets("targets of managed disks by path");

}  // namespace

RecoveryMap& vm_recovery_map() { return *restored_disks; }
ValidationMap& vm_validation_status() { return *refusals; }
AcceptedTargets& accepted_targets() { return *accepted; }
StagingAccountMap& vm_staging_sta_map() { return *staging_accounts; }
ResourceGroupMap& subid_rg_map() { return *resource_groups; }
ManagedTargetMap& md_metadata_map() { return *managed_targets; }

RestoredDisk* FindRestoredDisk(const std::string& object_path) {
  std::string vm_path;
  azurestackpi_get_vmpath(object_path, vm_path);
  const auto machine = vm_recovery_map().find(vm_path);
  if (machine == vm_recovery_map().end()) {
    return nullptr;
  }
  const auto disk = std::ranges::find(machine->second, object_path, &RestoredDisk::path);
  return disk == machine->second.end() ? nullptr : &*disk;
}

void azurestackpi_add_vhd_to_recovery_list(const std::string& object_path, const std::string& disk_name) {
  const FunctionLog log(__func__);
  std::string vm_path;
  azurestackpi_get_vmpath(object_path, vm_path);
  log.detail("vmpath: %s, vhdstring: %s", vm_path.c_str(), disk_name.c_str());
  if (FindRestoredDisk(object_path) == nullptr) {
    log.flow("Adding %s to recovery list", disk_name.c_str());
    vm_recovery_map()[vm_path].push_back({object_path, disk_name, false});
  }
}

void azurestackpi_delete_recovery_map_entry(const std::string& vm_path) {
  const FunctionLog log(__func__);
  log.detail("DEBUG delete_vm_details : vmpath [%s]", vm_path.c_str());
  if (vm_recovery_map().erase(vm_path) != 0) {
    log.detail("DEBUG deleted vm recovery map entry");
  }
  if (vm_details_recovery_map().erase(vm_path) != 0) {
    log.detail("DEBUG deleted vm details recovery map entry");
  }
  vm_staging_sta_map().erase(vm_path);
  ForgetAcceptedTargets(vm_path);
  if (vm_validation_status().erase(vm_path) != 0) {
    subid_rg_map().clear();
  }
}

void ForgetAcceptedTargets(const std::string& vm_path) {
  std::erase_if(*accepted, [&](const std::string& path) { return path.starts_with(vm_path + "/"); });
}

void ClearRestoreState() {
  restored_disks->clear();
  refusals->clear();
  accepted->clear();
  staging_accounts->clear();
  resource_groups->clear();
  managed_targets->clear();
}

}  // namespace azurestackpi
