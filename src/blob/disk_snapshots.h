// Snapshots of single disks, of either kind, as the code above sees them.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/model/vm_records.h"
#include "src/rest/http_message.h"

namespace azurestackpi {

/// The tag that every snapshot of this plug-in carries.
inline constexpr const char* kSnapshotTag = "BDAZSNAP";

/// Takes and deletes snapshots. A snapshot is found again by its name (a backup's snapshot id) and its tag. A status of
/// 6612 says that another try may succeed.
class DiskSnapshots {
 public:
  virtual ~DiskSnapshots() = default;

  /// Snapshots a managed disk; completes the disk's storage account type when it is empty. block_type: kLongRequest
  /// waits until the snapshot is complete; kShortRequest returns once it is accepted, with the address to ask for its
  /// progress in async_url, which may be null. Returns 0 or a status.
  virtual Status CreateManagedDiskSnapshot(aapi_pgn_server_handle_s& server, const std::string& snapshot_name,
                                           const std::string& tag, vm_managed_disk_t& disk, std::string* async_url,
                                           EBlockType block_type) = 0;

  /// Snapshots the page blob at uri, keepalive called while that takes long. Returns 0 or a status.
  virtual Status CreateSnapshot(const std::string& uri, const std::string& snapshot_name, const std::string& tag,
                                aapi_keepalive_fn keepalive) = 0;

  /// Deletes the page blob's snapshots of that name. Returns 0 or a status.
  virtual Status DeleteSnapshot(const std::string& uri, const std::string& snapshot_name, const std::string& tag,
                                aapi_keepalive_fn keepalive) = 0;
};

}  // namespace azurestackpi
