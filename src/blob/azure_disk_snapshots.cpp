#include "src/blob/azure_disk_snapshots.h"

#include "src/blob/managed_disk_snapshots.h"
#include "src/blob/page_blob_snapshots.h"

namespace azurestackpi {

Status AzureDiskSnapshots::CreateManagedDiskSnapshot(aapi_pgn_server_handle_s& server, const std::string& snapshot_name,
                                                     const std::string& tag, vm_managed_disk_t& disk,
                                                     std::string* async_url, EBlockType block_type) {
  return azurestackpi::CreateManagedDiskSnapshot(&server, snapshot_name.c_str(), tag.c_str(), disk, async_url,
                                                 block_type);
}

Status AzureDiskSnapshots::CreateSnapshot(const std::string& uri, const std::string& snapshot_name,
                                          const std::string& tag, aapi_keepalive_fn keepalive) {
  return azurestackpi::CreateSnapshot(uri, snapshot_name, tag, keepalive);
}

Status AzureDiskSnapshots::DeleteSnapshot(const std::string& uri, const std::string& snapshot_name,
                                          const std::string& tag, aapi_keepalive_fn keepalive) {
  return azurestackpi::DeleteSnapshot(uri, snapshot_name, tag, keepalive);
}

}  // namespace azurestackpi
