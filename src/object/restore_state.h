// What a restore session remembers of the machines it makes, from the first query of a machine to its recovery, for the
// whole process, until the server is closed. All keys are paths of machines, "/SUBSCRIPTION/GROUP/VM", unless said.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "src/base/status.h"
#include "src/blob/md_metadata.h"

namespace azurestackpi {

/// A disk of a machine, in the order in which the host named them.
struct RestoredDisk {
  std::string path;       // its object's
  std::string name;       // a managed disk's resource id, an unmanaged one's VHD address
  bool complete = false;  // all of it is stored: close_object returned 0
};
using RecoveryMap = std::map<std::string, std::vector<RestoredDisk>>;
RecoveryMap& vm_recovery_map();

/// Why a machine's target was refused: 6789 for its subscription or a resource group, 6792 for a storage account.
using ValidationMap = std::map<std::string, Status>;
ValidationMap& vm_validation_status();

/// Object paths of the disks whose target was accepted, as long as nothing else is told of their machine.
using AcceptedTargets = std::set<std::string>;
AcceptedTargets& accepted_targets();
void ForgetAcceptedTargets(const std::string& vm_path);

/// The account that holds a machine's managed disks while they are written.
struct StagingAccount {
  std::string name;        // empty: the operator named none
  bool validated = false;  // found in the target subscription
};
using StagingAccountMap = std::map<std::string, StagingAccount>;
StagingAccountMap& vm_staging_sta_map();

/// The names of a subscription's resource groups, by its id in lower case.
using ResourceGroupMap = std::map<std::string, std::vector<std::string>>;
ResourceGroupMap& subid_rg_map();

/// The target of each managed disk, by the disk's object path.
using ManagedTargetMap = std::map<std::string, md_metadata>;
ManagedTargetMap& md_metadata_map();

/// Adds a disk to its machine's list; one that is there already, by its object path, stays where it is.
void azurestackpi_add_vhd_to_recovery_list(const std::string& object_path, const std::string& disk_name);

/// The disk's entry in its machine's list, which owns it; null when it has none.
RestoredDisk* FindRestoredDisk(const std::string& object_path);

/// Forgets a machine: its disks, its configuration, its staging account and what was found of its target, so that a
/// second try is checked anew. After a refusal the resource groups are listed anew too: the operator may have made the
/// missing one. The unique names of its managed disks stay.
void azurestackpi_delete_recovery_map_entry(const std::string& vm_path);

/// All of the above.
void ClearRestoreState();

}  // namespace azurestackpi
