// Snapshots of page blobs: taken, found and deleted by the backup's id and the plug-in's tag.
#pragma once

#include <memory>
#include <string>

#include "aapi/aapi.h"
#include "src/base/logging.h"
#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "storage/page_blob.h"

namespace azurestackpi {

/// One snapshot to read from, or none.
using SnapshotRef = std::unique_ptr<azurestoragewrapper::page_blob>;

/// Ends the use of a snapshot; its streams go on.
inline void destroySnapshotReference(SnapshotRef& snapshot) { snapshot.reset(); }

/// Tells the log the blob's name, its addresses and the snapshot's time.
void LogBlobFacts(const FunctionLog& log, const azurestoragewrapper::page_blob& blob);

// In all of these, uri is a blob's address as GetConnection takes it, snapid the id of a backup and snapkey the tag of
// its snapshots; keepalive is called before pauses and may be null. No exception leaves them: 6622 stands for one. A
// failure of GetConnection is returned as it is.

/// Snapshots the blob, in up to "SNAPSHOT_RETRY_COUNT" + 1 attempts as long as the failure may pass, 30 s after each
/// that failed. Returns 0; 6622 for a failure that will not pass; after the last attempt the status of reading
/// "ASYNC_SNAPSHOT_SUPPORT": 0 when the configuration has it, else 6661.
Status CreateSnapshot(const std::string& uri, const std::string& snapid, const std::string& snapkey,
                      aapi_keepalive_fn keepalive);

/// Finds the newest snapshot of that id and tag:
///
///   create  at_once
///   true    false    looks for as long as one may take to appear, takes one when there is none, looks again
///   true    true     looks once, takes one when there is none, looks again
///   false   true     takes one without looking, then looks
///   false   false    only looks
///
/// Looks are a second apart, up to "SNAPSHOT_FETCH_RETRY_COUNT" of them. Returns 0 with the snapshot, or a failure
/// without: 6783 when there is none.
Status FetchOrCreateSnapshot(const std::string& uri, const std::string& snapid, const std::string& snapkey,
                             aapi_keepalive_fn keepalive, bool create, bool at_once, SnapshotRef& snapshot);

/// Another name of the look-up, which with neither flag lists without creating.
inline constexpr auto* ListSnapshots = &FetchOrCreateSnapshot;

/// The snapshot of a managed disk behind the shared-access address of its export. Returns 0 with the snapshot, or a
/// failure without: 6601 for an address that is empty or neither https nor http, 6783 when there is nothing behind it.
Status FetchManagedDiskSnapshot(const aapi_pgn_server_handle_s* server, const std::string& sas_uri,
                                aapi_keepalive_fn keepalive, SnapshotRef& snapshot);

/// Deletes the blob's snapshots of that id and tag; with an empty id those of the tag that are at least
/// "SNAPSHOT_CLEANUP_MIN" minutes (a day unless set) old by the service's time. Returns 0 also when there are none.
Status DeleteSnapshot(const std::string& uri, const std::string& snapid, const std::string& snapkey,
                      aapi_keepalive_fn keepalive);

/// The same for all blobs of an account. connection_string: as MakeConnectionString gives it.
Status DeleteStaleSnapshot(const std::string& connection_string, const std::string& snapid, const std::string& snapkey,
                           aapi_keepalive_fn keepalive);

/// The same for all accounts of a subscription and the plug-in's own tag. An account without a key is logged and passed
/// over; the other accounts are swept also after a failure, the first of which is returned.
Status DeleteAllUnmanagedDiskStaleSnapshots(const aapi_pgn_server_handle_s& server, const std::string& subscription,
                                            const std::string& search_time);

/// Deletes a blob with its snapshots. Returns 0 also when there is none.
Status DeleteBlob(const std::string& uri, aapi_keepalive_fn keepalive);

}  // namespace azurestackpi
