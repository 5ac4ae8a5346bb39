// The properties of an object, by its path or of one that is open.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"

struct aapi_object_s;

namespace azurestackpi {

/// Fills the host's record for the object at path. In a backup this is where work begins: the query of a machine's
/// "/Metadata/UseManagedDisk=" object starts the snapshots of its disks, that of a disk finds and measures its
/// snapshot. Directories are answered from the path alone. Returns 0; 2 for an unmanaged disk without a snapshot; 6601
/// for a path of more than six slashes, or a disk before the backup's time is known; a failure of that work; 6614 for
/// disks, metadata and machines of a restore, which is not there yet.
Status azurestackpi_get_object_metadata(const std::string& path, aapi_object_info_v1_t& info,
                                        const aapi_pgn_server_handle_s& server);

/// Fills the record for the open object, without any of that work: a query must not disturb what is being read. Returns
/// 0, or why a metadata object's data cannot be had.
Status GetOpenObjectProperties(const aapi_object_s& object, aapi_object_info_v1_t& info);

}  // namespace azurestackpi
