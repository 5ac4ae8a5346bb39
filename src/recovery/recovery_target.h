// Where a machine is made anew, and what it is like there.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/model/vm_records.h"

namespace azurestackpi {

// saved: the machine as it was backed up; entry: as its metadata objects name it, with m_flag when the original is to
// be kept; env: the machine to make.

/// Sets subscription, resource group and name. A kept machine goes to where its path says; when that is another
/// subscription than the saved one, the networks of entry become those of the target: of the same name if there are
/// such, else of the target's group, else any. Any other machine goes to where entry says, or else its path. Returns 0;
/// 6614 for a name that is missing or no part of an address, or a changed subscription without a network; 6797 when the
/// target subscription has no network, security group or subnet.
Status ChooseTarget(const aapi_pgn_server_handle_s& server, const std::string& vm_path, const vm_details_t& saved,
                    vm_details_t& entry, vm_env_t& env);

/// Sets everything else, for the target that stands in env. Boot diagnostics whose storage account is not in the target
/// subscription are switched off, with a line. Returns 0, or why the identity provider cannot be read.
Status DescribeMachine(const aapi_pgn_server_handle_s& server, const vm_details_t& saved, const vm_details_t& entry,
                       vm_env_t& env);

}  // namespace azurestackpi
