// Snapshots of the disks of an Azure Stack.
#pragma once

#include "src/blob/disk_snapshots.h"

namespace azurestackpi {

/// Managed disks through Resource Manager, unmanaged ones through the blob service.
class AzureDiskSnapshots final : public DiskSnapshots {
 public:
  Status CreateManagedDiskSnapshot(aapi_pgn_server_handle_s& server, const std::string& snapshot_name,
                                   const std::string& tag, vm_managed_disk_t& disk, std::string* async_url,
                                   EBlockType block_type) override;
  Status CreateSnapshot(const std::string& uri, const std::string& snapshot_name, const std::string& tag,
                        aapi_keepalive_fn keepalive) override;
  Status DeleteSnapshot(const std::string& uri, const std::string& snapshot_name, const std::string& tag,
                        aapi_keepalive_fn keepalive) override;
};

}  // namespace azurestackpi
