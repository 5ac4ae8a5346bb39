// A machine's description as a backup sees it: read once, looked up by path, and given out as the data of the machine's
// metadata objects.
#pragma once

#include <string>
#include <vector>

#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/model/vm_records.h"

namespace azurestackpi {

/// The machine that an object's path belongs to: from vm_details_recovery_map, or else read from Resource Manager into
/// it. Returns 0 with the record, which the map owns; 6601 for a path without a machine; or why it could not be read. A
/// machine whose network interface cannot be read is there without its networks, as it is in a discovery, until the
/// data of Vnet or Nsg are asked for again.
Status FindVmDetails(const aapi_pgn_server_handle_s& server, const std::string& path, vm_details_t*& vm);

/// The data of a metadata object: the whole description in a document of resources for VmName, an id for Vnet and Nsg,
/// a fixed text for the others. Returns 0 or the status of FindVmDetails.
Status azurestackpi_get_vm_details(const std::string& path, const aapi_pgn_server_handle_s& server, std::string& data);

/// The machine's disks of each kind, the OS disk first; owned by the machine.
std::vector<vm_managed_disk_t*> ManagedDisksOf(const vm_details_t& vm);
std::vector<vm_unmanaged_disk_t*> UnmanagedDisksOf(const vm_details_t& vm);

/// The object paths of a machine's disks, as a discovery publishes them.
std::string ManagedDiskPath(const std::string& vm_path, const vm_managed_disk_t& disk);
std::string UnmanagedDiskPath(const std::string& vm_path, const vm_unmanaged_disk_t& disk);

/// The disk that the path of a managed disk names: the one of that name in the path's resource group, else the only one
/// of that name. Null when the machine has none.
vm_managed_disk_t* FindManagedDisk(const vm_details_t& vm, const std::string& path);

}  // namespace azurestackpi
