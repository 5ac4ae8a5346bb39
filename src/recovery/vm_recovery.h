// A machine comes back out of its restored disks and its metadata objects.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"

namespace azurestackpi {

/// Makes the machine of that path, "/SUBSCRIPTION/GROUP/VM", anew from what the restore session remembers of it; that
/// is left as it is. Returns 0, or a status with a line that names the machine: the one recorded when its target was
/// checked; 6614 for a machine without disks, with a disk that is not complete, or without a usable configuration or
/// target; 6797 for networks that the target subscription lacks; or a status of recreateVm.
Status azurestackpi_recover_vm(const aapi_pgn_server_handle_s& server, const std::string& vm_path);

}  // namespace azurestackpi
