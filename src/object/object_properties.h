// The properties of an object, by its path.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"

namespace azurestackpi {

/// Fills the host's record for the object at path. Directories are answered from the path alone. Returns 0; 6601 for a
/// path of more than six slashes; 6614 for disks, metadata and a restored machine, which are not there yet.
Status azurestackpi_get_object_metadata(const std::string& path, aapi_object_info_v1_t& info,
                                        const aapi_pgn_server_handle_s& server);

}  // namespace azurestackpi
