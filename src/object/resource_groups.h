// The resource groups that a restore may use.
#pragma once

#include <string>

#include "src/base/status.h"

namespace azurestackpi {

/// Lists the resource groups of a subscription into subid_rg_map, when they are not there already. Returns 0, or why
/// they could not be listed; a failure is not remembered. server_name: as the server's handle has it.
Status azurestackpi_get_rg_from_subscription(const std::string& server_name, const std::string& subscription);

/// Whether subid_rg_map has the group in that subscription; names compare without regard to case.
bool HasResourceGroup(const std::string& subscription, const std::string& group);

}  // namespace azurestackpi
