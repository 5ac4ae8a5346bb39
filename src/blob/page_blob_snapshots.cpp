#include "src/blob/page_blob_snapshots.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "platform/clock.h"
#include "src/base/text.h"
#include "src/blob/page_blob_connection.h"
#include "src/blob/storage_failure.h"
#include "src/config/config.h"
#include "src/config/number_setting.h"

namespace azurestackpi {
namespace {

using azurestoragewrapper::azurestorage_exception;
using azurestoragewrapper::page_blob;

constexpr std::int64_t kPause = 30;  // seconds after an attempt that failed
constexpr FailureRule kSnapshotFailures{kInternalError, kInternalError, " "};

struct RetrySettings {
  int snapshot;  // further attempts
  int fetch;     // looks
};

int Bounded(const std::string& key, long least, long most) {
  return static_cast<int>(std::clamp(NumberSetting(key, least), least, most));
}

RetrySettings ReadRetrySettings(const FunctionLog& log) {
  const RetrySettings retries{Bounded("SNAPSHOT_RETRY_COUNT", 3, 12), Bounded("SNAPSHOT_FETCH_RETRY_COUNT", 60, 120)};
  log.detail("snapshot retry count: %d snapshot fetch retry count: %d", retries.snapshot, retries.fetch);
  return retries;
}

// Which snapshot of which blob.
struct Wanted {
  const std::string& uri;
  const std::string& snapid;
  const std::string& snapkey;
  aapi_keepalive_fn keepalive;
};

page_blob OpenBlob(const FunctionLog& log, const azurestackpi_connection& connection, aapi_keepalive_fn keepalive) {
  page_blob blob(connection.m_connection_string, connection.m_container_name, connection.m_vhd_name,
                 StorageOptions(keepalive));
  log.detail("Page blob object created , rc :");
  return blob;
}

// Nothing when another attempt may succeed; throws when it will not.
SnapshotRef TryToTake(const FunctionLog& log, page_blob& blob, const Wanted& wanted, bool async) {
  try {
    return blob.create_snapshot(wanted.snapid, wanted.snapkey, async);
  } catch (const azurestorage_exception& failure) {
    static_cast<void>(LogCaughtException(log, kSnapshotFailures));
    if (failure.isRetryable()) {
      return nullptr;
    }
    throw std::runtime_error(failure.what());  // the storage client's part is told; what follows is any function's end
  }
}

void WaitForNextAttempt(const FunctionLog& log, aapi_keepalive_fn keepalive) {
  log.flow("Sending keepalive to media server");
  if (keepalive != nullptr) {
    static_cast<void>(keepalive(log.function()));
  }
  log.flow("Waiting for %d seconds", static_cast<int>(kPause));
  platform::clock().sleep(kPause);
}

// created: the line of a success. Returns 0, or after the last attempt the status of reading the setting.
Status TakeSnapshot(const FunctionLog& log, page_blob& blob, const Wanted& wanted, int retries, const char* created) {
  std::string value;
  const Status setting = AzureStackPi_Config::getInstance().GetConfVal("ASYNC_SNAPSHOT_SUPPORT", value);
  const bool async = setting != kOk || IsYes(value);
  for (int failures = 0; failures <= retries; ++failures) {
    log.detail("Creating snapshot for %s retry count : %d", wanted.uri.c_str(), failures + 1);
    if (const SnapshotRef snapshot = TryToTake(log, blob, wanted, async)) {
      log.flow("%s", created);
      LogBlobFacts(log, *snapshot);
      return kOk;
    }
    WaitForNextAttempt(log, wanted.keepalive);
  }
  log.error("No snapshot of %s could be taken in %d attempts", wanted.uri.c_str(), retries + 1);
  return setting;
}

SnapshotRef LookUp(const FunctionLog& log, page_blob& blob, const Wanted& wanted, int lookups) {
  SnapshotRef snapshot = blob.fetch_snapshot_blob(wanted.snapid, wanted.snapkey, lookups);
  if (snapshot) {
    log.flow("Found the snapshot blob for vhd : %s.", wanted.uri.c_str());
  } else {
    log.flow("snapshot blob for vhd : %s. doesn't exist", wanted.uri.c_str());
  }
  return snapshot;
}

Status Fetch(const FunctionLog& log, page_blob& blob, const Wanted& wanted, const RetrySettings& retries, bool create,
             bool at_once, SnapshotRef& snapshot) {
  if (create || !at_once) {
    snapshot = LookUp(log, blob, wanted, at_once ? 1 : retries.fetch);
  }
  if (!snapshot && (create || at_once)) {
    log.flow(" Creating snapshot blob for vhd : %s.", wanted.uri.c_str());
    static_cast<void>(TakeSnapshot(log, blob, wanted, retries.snapshot, "snapshot is created "));
    snapshot = LookUp(log, blob, wanted, retries.fetch);
  }
  if (!snapshot) {
    log.error("Unable to find snapshot blob for disk : %s with snapkey : %s snapid : %s", wanted.uri.c_str(),
              wanted.snapkey.c_str(), wanted.snapid.c_str());
    return kSnapshotBlobNotFound;
  }
  return kOk;
}

bool IsWebAddress(const std::string& uri) {
  const std::string scheme = uri.substr(0, std::min(uri.find("://"), uri.size()));
  return scheme.size() < uri.size() && (EqualIgnoringCase(scheme, "https") || EqualIgnoringCase(scheme, "http"));
}

}  // namespace

void LogBlobFacts(const FunctionLog& log, const page_blob& blob) {
  log.detail("Blob NAME    :  %s", blob.name().c_str());
  log.detail("Blob URI     :  %s", blob.primary_uri().c_str());
  log.detail("Snapshot URI :  %s", blob.snapshot_qualified_primary_uri().c_str());
  log.detail("Snapshot Time: %li", static_cast<long>(blob.snapshot_time()));
}

Status CreateSnapshot(const std::string& uri, const std::string& snapid, const std::string& snapkey,
                      aapi_keepalive_fn keepalive) {
  const FunctionLog log(__func__);
  const RetrySettings retries = ReadRetrySettings(log);
  azurestackpi_connection connection;
  if (const Status status = GetConnection(uri, &connection); status != kOk) {
    log.error("Failed to get the conection. Leaving, rc : %d", static_cast<int>(status));
    return status;
  }
  const Status status = CatchStorageFailures(log, kSnapshotFailures, [&] {
    page_blob blob = OpenBlob(log, connection, keepalive);
    return TakeSnapshot(log, blob, {uri, snapid, snapkey, keepalive}, retries.snapshot, "snapshot is created");
  });
  log.flow("Leaving, rc = %d", static_cast<int>(status));
  return status;
}

Status FetchOrCreateSnapshot(const std::string& uri, const std::string& snapid, const std::string& snapkey,
                             aapi_keepalive_fn keepalive, bool create, bool at_once, SnapshotRef& snapshot) {
  const FunctionLog log(__func__);
  snapshot.reset();
  const RetrySettings retries = ReadRetrySettings(log);
  azurestackpi_connection connection;
  if (const Status status = GetConnection(uri, &connection); status != kOk) {
    log.error("Failed to get connection.");
    return status;
  }
  const Status status = CatchStorageFailures(log, kSnapshotFailures, [&] {
    page_blob blob = OpenBlob(log, connection, keepalive);
    return Fetch(log, blob, {uri, snapid, snapkey, keepalive}, retries, create, at_once, snapshot);
  });
  log.flow("Leaving, rc = %d", static_cast<int>(status));
  return status;
}

Status FetchManagedDiskSnapshot(const aapi_pgn_server_handle_s* /*server*/, const std::string& sas_uri,
                                aapi_keepalive_fn keepalive, SnapshotRef& snapshot) {
  const FunctionLog log(__func__);
  snapshot.reset();
  if (sas_uri.empty()) {
    log.error("Snapshot access SAS uri should not empty ret: %d ", static_cast<int>(kInvalidArgument));
    return kInvalidArgument;
  }
  if (!IsWebAddress(sas_uri)) {
    log.error("Invalid access SAS URI encountered");
    return kInvalidArgument;
  }
  return CatchStorageFailures(log, kSnapshotFailures, [&]() -> Status {
    auto found = std::make_unique<page_blob>(sas_uri, StorageOptions(keepalive));
    if (!found->fetch_blob()) {
      log.error("snapshot blob for vhd : %s. doesn't exist", found->name().c_str());
      return kSnapshotBlobNotFound;
    }
    log.flow("Found the snapshot blob for vhd : %s.", found->name().c_str());
    snapshot = std::move(found);
    return kOk;
  });
}

}  // namespace azurestackpi
