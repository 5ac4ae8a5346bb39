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
/// machine whose network interface cannot be read is there without its networks, as it is in a discovery.
Status FindVmDetails(const aapi_pgn_server_handle_s& server, const std::string& path, vm_details_t*& vm);

/// The data of a metadata object: the whole description in a document of resources for VmName, an id for Vnet and Nsg,
/// a fixed text for the others. Returns 0 or the status of FindVmDetails.
Status azurestackpi_get_vm_details(const std::string& path, const aapi_pgn_server_handle_s& server, std::string& data);

/// The machine's disks of each kind, the OS disk first; owned by the machine.
std::vector<vm_managed_disk_t*> ManagedDisksOf(const vm_details_t& vm);
std::vector<vm_unmanaged_disk_t*> UnmanagedDisksOf(const vm_details_t& vm);

/// The disk that the path of a managed disk names: the first of that name, of the path's resource group if one is. Null
/// when the machine has none.
vm_managed_disk_t* FindManagedDisk(const vm_details_t& vm, const std::string& path);

}  // namespace azurestackpi
