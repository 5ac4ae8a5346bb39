// The size of a disk in a backup, for which its snapshot must be there: found, taken or waited for on the way.
#pragma once

#include <cstdint>
#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"

namespace azurestackpi {

/// Finds the snapshot of the unmanaged disk at path, taking one when there is none, and measures it. Returns 0; 2 when
/// there is no snapshot or it could not be measured; 6601 before the backup's time is known.
Status MeasureUnmanagedDisk(const std::string& path, const aapi_pgn_server_handle_s& server, std::uint64_t& size);

/// Waits for the snapshot of the managed disk at path, exports and measures it, and puts the disk into
/// vm_managed_disk_map with the address of the export; an earlier export of the entry is revoked before, this one when
/// its disk cannot be measured. Returns 0 with size 0 and no entry for a disk of no known machine; the failure of the
/// wait or the export; 6783 when there is nothing behind the address; 2 when that could not be measured; 6601 before
/// the backup's time is known.
Status MeasureManagedDisk(const std::string& path, const aapi_pgn_server_handle_s& server, std::uint64_t& size);

}  // namespace azurestackpi
