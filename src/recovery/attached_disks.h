// The restored disks of a machine in the order and places that they have at the new one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/base/status.h"
#include "src/model/vm_records.h"
#include "src/object/restore_state.h"

namespace azurestackpi {

/// A disk to attach as it is.
struct AttachedDisk {
  std::string where;     // a managed disk's resource id, an unmanaged one's VHD address
  std::int64_t lun = 0;  // of a data disk
};

/// Puts restored disks into the order of the saved machine's, its OS disk first, those that it did not have last in the
/// order in which they came. A data disk of a machine with managed disks keeps its LUN, one that it did not have gets
/// the lowest free; VHDs are counted from 0. When none is named like the OS disk, the first that the machine did not
/// have is taken for it. Returns 0; 6614 with a line when nothing can be the OS disk.
Status OrderDisks(const vm_details_t& saved, const std::vector<RestoredDisk>& restored, bool managed,
                  std::vector<AttachedDisk>& disks);

}  // namespace azurestackpi
