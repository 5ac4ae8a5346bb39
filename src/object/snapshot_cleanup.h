// The clean-up of snapshots that backups left behind, over whole subscriptions.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"

namespace azurestackpi {

/// Revokes the exports of, and deletes, this plug-in's snapshots of managed disks in a subscription: those of the
/// backup named search_time; with an empty one those that are at least "SNAPSHOT_CLEANUP_MIN" minutes (a day unless
/// set) old. One that cannot be deleted is told and does not end the sweep. Returns 0, 6601 for an empty subscription,
/// why the snapshots could not be listed, or the first failure.
Status azurestackpi_delete_managed_disk_stale_snapshot(const aapi_pgn_server_handle_s& server,
                                                       const std::string& subscription, const std::string& search_time);

/// Sweeps the subscriptions of the selections ("/SUBSCRIPTION[/GROUP[/VM]]", separated by blanks) of managed and of
/// unmanaged disks' snapshots, each subscription once, as above. Returns 0 also when something could not be deleted,
/// which the log tells; or the status of the first selection that cannot be parsed, at which the walk ends.
Status azurestack_delete_snapshots(const aapi_pgn_server_handle_s& server, const std::string& selections,
                                   const std::string& search_time);

}  // namespace azurestackpi
