#include "src/object/object_maps.h"

#include "src/base/process_state.h"

namespace azurestackpi {
namespace {

ProcessValue<VmDetailsMap> machines("machines by path");
ProcessValue<ManagedDiskMap> managed_disks("managed disks by path");
ProcessValue<std::map<std::string, std::string>> backups("started backups by path of the machine");

}  // namespace

VmDetailsMap& vm_details_recovery_map() { return *machines; }
ManagedDiskMap& vm_managed_disk_map() { return *managed_disks; }

std::map<std::string, std::string>& started_backups() { return *backups; }

void ForgetMachines() {
  machines->clear();
  backups->clear();
}

void ClearObjectMaps() {
  ForgetMachines();
  managed_disks->clear();
}

}  // namespace azurestackpi
