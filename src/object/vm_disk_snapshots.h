// Snapshots of a machine's disks in a backup: taken as close together as the cloud allows, and deleted one by one.
#pragma once

#include <string>

#include "aapi/aapi.h"
#include "src/base/logging.h"
#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/model/vm_records.h"

namespace azurestackpi {

/// When the settings have a discovery take the snapshots, of all machines at its end. Unless they say otherwise it
/// does.
bool SnapshotsAreTakenInDiscovery();

/// When the settings have a machine's unmanaged disks snapshotted together at the start of its backup. Unless they say
/// otherwise they are, also when a discovery did that before.
bool UnmanagedSnapshotsAreTakenInBackup();

/// Snapshots carry the backup's time, which the host tells with get_snappath_from_realpath. Returns 0, or 6601 with a
/// line that says which call is missing.
Status RequireBackupTime(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const std::string& path);

/// Starts the snapshots of the managed disks of the machine in vm_details_recovery_map, when the settings leave them to
/// the backup; each disk's record receives the address to ask for its snapshot's progress. Ends at the first failure
/// and returns it; 0 also for an unknown machine.
Status azurestackpi_create_snapshot_of_all_managed_disk_attached_to_vm(const aapi_pgn_server_handle_s& server,
                                                                       const std::string& vm_path);

/// Snapshots the unmanaged disks of the machine in vm_details_recovery_map, when the settings leave them to the backup.
/// Tries every disk. Returns the status of the last one; without any that of reading "VM_SNAPSHOT_IN_DISCOVERY", 6661
/// when the configuration lacks it.
Status azurestackpi_create_snapshot_of_all_unmanaged_disk_attached_to_vm(const aapi_pgn_server_handle_s& server,
                                                                         const std::string& vm_path);

/// Revokes the export of a managed disk's snapshot and deletes it. is_managed tells whether the path is in
/// vm_managed_disk_map; for one that is not, nothing is done. Returns 0, 6601 for an empty path, or the failure.
Status azurestackpi_delete_managed_disk_snapshot(const aapi_pgn_server_handle_s& server, const std::string& path,
                                                 const std::string& backup_time, bool& is_managed);

/// The snapshot of the one disk at path, of either kind. create: named after the server's snapshot name, else after the
/// current second; fills the record. delete_: the snapshots named so. Return 0; 6601 for a path that is no disk's or
/// without a name; 6797 for a managed disk that its machine does not have; or the failure.
Status CreateSnapshotOfDisk(const aapi_pgn_server_handle_s& server, const std::string& path, aapi_snapshot_v1_t& out);
Status DeleteSnapshotOfDisk(const aapi_pgn_server_handle_s& server, const std::string& path,
                            const std::string& snapshot_name);

}  // namespace azurestackpi
