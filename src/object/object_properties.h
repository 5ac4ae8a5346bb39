// The properties of an object, by its path or of one that is open.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"

struct aapi_object_s;

namespace azurestackpi {

/// Fills the host's record for the object at path. This is where work begins. In a backup the query of a machine's
/// "/Metadata/UseManagedDisk=" object starts the snapshots of its disks, that of a disk finds and measures its
/// snapshot. In a restore the query of a machine means that it comes back as it was, that of a metadata object gives
/// the value back, and that of a disk checks its target; what is refused there is told at the disk's creation.
/// Directories are answered from the path alone. Returns 0; 2 for an unmanaged disk without a snapshot, and in a
/// restore for metadata objects and disks; 6601 for a path of more than six slashes, a disk of a backup whose time is
/// not known, or a metadata object of no machine; a failure of that work.
Status azurestackpi_get_object_metadata(const std::string& path, aapi_object_info_v1_t& info,
                                        const aapi_pgn_server_handle_s& server);

/// Fills the record for the open object, without any of that work: a query must not disturb what is being read or
/// written. The size of a disk that is written is 0 until its header came. Returns 0, or why a metadata object's data
/// cannot be had.
Status GetOpenObjectProperties(const aapi_object_s& object, aapi_object_info_v1_t& info);

}  // namespace azurestackpi
