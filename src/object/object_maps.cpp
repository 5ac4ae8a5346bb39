#include "src/object/object_maps.h"

#include "src/base/process_state.h"

namespace azurestackpi {
namespace {

ProcessValue<VmDetailsMap> machines("machines by path");
ProcessValue<ManagedDiskMap> managed_disks("managed disks by path");

}  // namespace

VmDetailsMap& vm_details_recovery_map() { return *machines; }
ManagedDiskMap& vm_managed_disk_map() { return *managed_disks; }

void ClearObjectMaps() {
  machines->clear();
  managed_disks->clear();
}

}  // namespace azurestackpi
