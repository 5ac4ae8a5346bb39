// Deletes snapshots of page blobs, and page blobs.
#include <algorithm>
#include <limits>
#include <vector>

#include "src/base/text.h"
#include "src/blob/disk_snapshots.h"
#include "src/blob/page_blob_connection.h"
#include "src/blob/page_blob_snapshots.h"
#include "src/blob/storage_failure.h"
#include "src/config/config.h"
#include "src/config/number_setting.h"
#include "src/model/azurestack_storagekeys.h"

namespace azurestackpi {
namespace {

using azurestoragewrapper::page_blob;

constexpr FailureRule kDeletionFailures{kInternalError, kInternalError, " "};
constexpr long kDay = 1440;  // minutes

// A setting that cannot be meant counts as missing: read as nothing it would delete what a backup still reads. A 0 that
// stands there is meant.
int CleanupAge(const FunctionLog& log) {
  const std::string key = "SNAPSHOT_CLEANUP_MIN";
  const long wanted = NumberSetting(key, kDay);
  const long minutes = wanted < 0 ? kDay : std::min(wanted, std::numeric_limits<int>::max() / 60L);
  log.detail("snap_cleanup_session_min:%d(%s)", static_cast<int>(minutes),
             AzureStackPi_Config::getInstance().ConfValueOr(key, std::to_string(kDay)).c_str());
  return static_cast<int>(minutes);
}

void LogOutcome(const FunctionLog& log, Status status) {
  if (status != kOk) {
    log.error("Failed to delete snapshots. rc %d ", static_cast<int>(status));
  }
  log.flow("Leaving, rc = %d", static_cast<int>(status));
}

Status SweepAccount(const FunctionLog& log, azurestack_storagekeys& accounts, const std::string& account,
                    const std::string& search_time) {
  std::string key;
  if (const Status status = accounts.getStorageKey(account, key); status != kOk) {
    log.error("return status %d : %s for given Storage account %s", static_cast<int>(status),
              StatusText(status).c_str(), account.c_str());
    return kOk;
  }
  const std::string connection_string = MakeConnectionString(account, key, accounts.EndpointSuffix(account));
  log.detail("connection_string  = %s ", connection_string.c_str());
  return DeleteStaleSnapshot(connection_string, search_time, kSnapshotTag, send_keepalive_callback);
}

Status SweepSubscription(const FunctionLog& log, const aapi_pgn_server_handle_s& server,
                         const std::string& subscription, const std::string& search_time) {
  if (const Status status = azurestack_storagekeys::createInstance(&server); status != kOk) {
    return status;
  }
  azurestack_storagekeys& keys = *azurestack_storagekeys::getInstance();
  if (const Status status = keys.BuildFromEnv(); status != kOk) {
    return status;
  }
  std::vector<std::string> accounts;
  keys.getAllStorageAccountsForSubscription(subscription, accounts);
  Status first_failure = kOk;
  for (const std::string& account : accounts) {
    const Status status = SweepAccount(log, keys, account, search_time);
    first_failure = first_failure == kOk ? status : first_failure;
  }
  return first_failure;
}

}  // namespace

Status DeleteSnapshot(const std::string& uri, const std::string& snapid, const std::string& snapkey,
                      aapi_keepalive_fn keepalive) {
  const FunctionLog log(__func__);
  log.flow("Entering: vhduri: %s, snapid: %s, snapkey: %s", uri.c_str(), snapid.c_str(), snapkey.c_str());
  azurestackpi_connection connection;
  if (const Status status = GetConnection(uri, &connection); status != kOk) {
    log.error(" Failed to Get Connection Leaving, rc : %d", static_cast<int>(status));
    return status;
  }
  const int minutes = CleanupAge(log);
  const Status status = CatchStorageFailures(log, kDeletionFailures, [&] {
    page_blob blob(connection.m_connection_string, connection.m_container_name, connection.m_vhd_name,
                   StorageOptions(keepalive));
    blob.delete_snapshots(snapid, snapkey, minutes);
    return kOk;
  });
  LogOutcome(log, status);
  return status;
}

Status DeleteStaleSnapshot(const std::string& connection_string, const std::string& snapid, const std::string& snapkey,
                           aapi_keepalive_fn keepalive) {
  const FunctionLog log(__func__);
  log.flow("Entering: connection_string: %s, snapid: %s, snapkey: %s", connection_string.c_str(), snapid.c_str(),
           snapkey.c_str());
  const int minutes = CleanupAge(log);
  const Status status = CatchStorageFailures(log, kDeletionFailures, [&] {
    azurestoragewrapper::delete_stale_snapshots(connection_string, snapid, snapkey, minutes, StorageOptions(keepalive));
    return kOk;
  });
  LogOutcome(log, status);
  return status;
}

Status DeleteAllUnmanagedDiskStaleSnapshots(const aapi_pgn_server_handle_s& server, const std::string& subscription,
                                            const std::string& search_time) {
  const FunctionLog log(__func__);
  const Status status = CatchStorageFailures(log, kDeletionFailures,
                                             [&] { return SweepSubscription(log, server, subscription, search_time); });
  log.flow("Leaving. rc = %d ", static_cast<int>(status));
  return status;
}

Status DeleteBlob(const std::string& uri, aapi_keepalive_fn keepalive) {
  const FunctionLog log(__func__);
  azurestackpi_connection connection;
  Status status = GetConnection(uri, &connection);
  if (status == kOk) {
    status = CatchStorageFailures(log, kDeletionFailures, [&] {
      page_blob blob(connection.m_connection_string, connection.m_container_name, connection.m_vhd_name,
                     StorageOptions(keepalive));
      blob.delete_blob();
      return kOk;
    });
  }
  if (status != kOk) {
    log.error("Failed to delete blob. vhduri : %s Leaving, rc : %d", uri.c_str(), static_cast<int>(status));
  }
  return status;
}

}  // namespace azurestackpi
