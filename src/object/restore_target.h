// Where a disk is restored to, checked before anything is written.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/blob/md_metadata.h"

namespace azurestackpi {

/// Checks the target of the disk at path: its subscription, the account that is to hold it and, for a managed disk, its
/// type and resource group. An accepted managed disk gets its entry in md_metadata_map, whose unique name stays the
/// same in later calls, and its place in the recovery list. What is refused is kept in vm_validation_status, and no
/// disk of that machine is checked again then. Returns 0; 6789 for a subscription, resource group or path, 6792 for a
/// storage account; 6601 for a path without a machine; or why the subscriptions could not be listed.
Status ValidateRestoreTarget(const std::string& path, const aapi_pgn_server_handle_s& server);

/// Copies the target of the managed disk at path; leaves target alone when none was accepted.
void azurestackpi_get_md_metadata(const std::string& path, md_metadata& target);

/// Sets account to the one that holds the machine's managed disks while they are written, as it is listed: the
/// operator's choice, or else the first of "STAGING_STORAGE_ACCOUNTS" that is in the subscription. Kept in
/// vm_staging_sta_map. Returns 0; 6792 when there is none.
Status azurestackpi_validate_and_set_sta(const std::string& vm_path, const std::string& subscription,
                                         std::string& account);

}  // namespace azurestackpi
