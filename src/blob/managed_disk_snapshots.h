// The calls on snapshots of managed disks, as the rest of the plug-in makes them: one client per call, no exception
// leaves any. Each returns what the method of azurestackMD that it stands for returns; 6601 when the server's name
// makes no endpoint, 6622 after an exception.
#pragma once

#include <string>
#include <vector>

#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/model/vm_records.h"
#include "src/rest/http_message.h"

namespace azurestackpi {

extern "C" {

/// async_url may be null. See azurestackMD::CreateSnapshot.
Status CreateManagedDiskSnapshot(const aapi_pgn_server_handle_s* server, const char* snapshot_name, const char* tag,
                                 vm_managed_disk_t& disk, std::string* async_url, EBlockType block_type) noexcept;

/// The disk's m_extra3 holds the address that CreateManagedDiskSnapshot gave. See azurestackMD::CheckSnapshotStatus.
Status CheckifSnapshotComplete(const aapi_pgn_server_handle_s* server, vm_managed_disk_t& disk) noexcept;

/// http_status may be null; it receives azurestackMD::HttpStatus. See azurestackMD::ExportSnapshot.
Status ExportManagedDiskSnapshot(const aapi_pgn_server_handle_s* server, const char* snapshot_name, const char* tag,
                                 vm_managed_disk_t& disk, std::string& sas_uri, long* http_status = nullptr) noexcept;

/// http_status: as above. See azurestackMD::CancelExportSnapshot.
Status CancelExportManagedDiskSnapshot(const aapi_pgn_server_handle_s* server, const char* snapshot_name,
                                       const char* tag, vm_managed_disk_t& disk, long* http_status = nullptr) noexcept;

/// See azurestackMD::DeleteSnapshot.
Status DeleteManagedDiskSnapshot(const aapi_pgn_server_handle_s* server, const char* snapshot_name, const char* tag,
                                 vm_managed_disk_t& disk) noexcept;

/// See azurestackMD::GetALLMDSnapshots.
Status GetALLManagedDiskSnapshots(const aapi_pgn_server_handle_s* server, const std::string& subscription,
                                  const std::string& snapshot_name, std::vector<std::string>& ids) noexcept;

}  // extern "C"

}  // namespace azurestackpi
