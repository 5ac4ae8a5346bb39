// What is remembered of machines and disks from one call of the host to the next, for the whole process, until the
// server is closed.
#pragma once

#include <map>
#include <string>

#include "src/model/vm_records.h"

namespace azurestackpi {

/// Machines by their paths, "/SUBSCRIPTION/GROUP/VM".
using VmDetailsMap = std::map<std::string, vm_details_t>;
VmDetailsMap& vm_details_recovery_map();

/// Managed disks by their object paths, as the last property query that succeeded found them: m_extra2 is the name of
/// the snapshot that it exported.
using ManagedDiskMap = std::map<std::string, vm_managed_disk_t>;
ManagedDiskMap& vm_managed_disk_map();

/// By a machine's path the backup whose snapshots of its disks were started.
std::map<std::string, std::string>& started_backups();

/// Forgets the machines and what was started for them; what a query exported stays known.
void ForgetMachines();

void ClearObjectMaps();

}  // namespace azurestackpi
