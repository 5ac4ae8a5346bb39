// The clean-up of snapshots that backups left behind.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"

namespace azurestackpi {

/// Is to delete the snapshots of the selected subscriptions: those named snapshot_name, or with an empty name all that
/// are old enough. Deletes nothing yet: it logs an error line that says so and returns 6614.
Status azurestack_delete_snapshots(aapi_pgn_server_handle_s& server, const std::string& selections,
                                   const std::string& snapshot_name);

}  // namespace azurestackpi
