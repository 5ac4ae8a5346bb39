#include "src/object/snapshot_cleanup.h"

#include <set>
#include <vector>

#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/blob/disk_snapshots.h"
#include "src/blob/managed_disk_snapshots.h"
#include "src/blob/page_blob_snapshots.h"
#include "src/config/number_setting.h"
#include "src/config/rest_server.h"
#include "src/object/object_path.h"

namespace azurestackpi {
namespace {

constexpr long kDay = 1440;  // minutes

// A setting that cannot be meant counts as missing: an age of nothing would delete what a backup still reads.
long AgeLimit() {
  const long minutes = NumberSetting("SNAPSHOT_CLEANUP_MIN", kDay);
  return minutes < 0 ? kDay : minutes;
}

// snapshot: as its id tells it, of the backup of that time.
Status DeleteStale(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const std::string& backup_time,
                   vm_managed_disk_t& snapshot) {
  const char* const id = snapshot.m_disk_id.c_str();
  log.flow("Deleting managed disk snapshot %s", id);
  Status status = CancelExportManagedDiskSnapshot(&server, backup_time.c_str(), kSnapshotTag, snapshot);
  if (status != kOk) {
    log.error("Failed to cancel export snapshot for %s disk", id);
    return status;
  }
  log.detail("Cancel export snapshot for %s disk is complete", id);
  status = DeleteManagedDiskSnapshot(&server, backup_time.c_str(), kSnapshotTag, snapshot);
  if (status != kOk) {
    log.error("Failed to delete snapshot for %s disk", id);
  } else {
    log.detail("Delete snapshot for %s disk is complete", id);
  }
  return status;
}

void SweepSubscription(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const std::string& subscription,
                       const std::string& search_time) {
  const char* const shown = subscription.c_str();
  log.detail("Delete Managed Disk stale snapshots of Subscriptions %s .", shown);
  if (azurestackpi_delete_managed_disk_stale_snapshot(server, subscription, search_time) != kOk) {
    log.error("Failed to delete Managed Disk stale snapshots of Subscriptions %s .", shown);
  }
  if (DeleteAllUnmanagedDiskStaleSnapshots(server, subscription, search_time) != kOk) {
    log.error("Failed to delete Unmanaged Disk stale snapshots of Subscriptions %s .", shown);
  }
}

}  // namespace

Status azurestackpi_delete_managed_disk_stale_snapshot(const aapi_pgn_server_handle_s& server,
                                                       const std::string& subscription,
                                                       const std::string& search_time) {
  const FunctionLog log(__func__);
  if (subscription.empty()) {
    log.error("Empty Subscription specified");
    return kInvalidArgument;
  }
  const long age_limit = AgeLimit();
  std::vector<std::string> ids;
  // What was listed before a failure can go all the same.
  Status first_failure = GetALLManagedDiskSnapshots(&server, subscription, search_time, ids);
  for (const std::string& id : ids) {
    log.detail("Validate found managed disk snapshot %s", id.c_str());
    vm_managed_disk_t snapshot;
    std::string backup_time;
    if (!ParseAndValidateMDSnapshotID(id, search_time, age_limit, snapshot, backup_time)) {
      continue;
    }
    snapshot.m_disk_id = id;
    const Status status = DeleteStale(log, server, backup_time, snapshot);
    first_failure = first_failure == kOk ? status : first_failure;
  }
  return first_failure;
}

Status azurestack_delete_snapshots(const aapi_pgn_server_handle_s& server, const std::string& selections,
                                   const std::string& search_time) {
  const FunctionLog log(__func__);
  std::set<std::string> swept;
  for (const std::string& selection : SplitText(selections, ' ')) {
    if (selection.empty()) {
      continue;
    }
    std::string subscription;
    std::string group;
    std::string machine;
    if (const Status status = parseSRVSection(selection, subscription, group, machine); status != kOk) {
      return status;
    }
    if (swept.insert(ToLower(subscription)).second) {
      SweepSubscription(log, server, subscription, search_time);
    }
  }
  return kOk;
}

}  // namespace azurestackpi
