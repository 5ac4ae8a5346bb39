// Snapshots of whole machines, taken at the end of a discovery.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "src/blob/disk_snapshots.h"

namespace azurestackpi {

using DiskList = std::vector<DiskOwner>;

/// The disks of each machine by its path.
using MachineDisks = std::map<std::string, DiskList>;

/// Snapshots the disks of one machine in their order. An unmanaged disk that fails ends it: the snapshots of the
/// unmanaged disks before it are deleted again. A managed disk that fails is told only when no disk follows it. Asks
/// the session's keep-alive callback before each disk and ends with its result when that is not 0. Returns 0 or a
/// status, 6612 when another try may succeed.
Status snapshotVmDisks(aapi_pgn_server_handle_s& server, DiskSnapshots& snapshots, const std::string& snapshot_name,
                       const DiskList& disks);

/// Snapshots every machine, and those that failed again in up to "SNAPSHOT_RETRY_COUNT" (at most and by default 3)
/// passes, 30, 40, ... seconds apart, for as long as they fail with 6612. What fails for good is told in the log only.
void SnapshotMachines(aapi_pgn_server_handle_s& server, DiskSnapshots& snapshots, const std::string& snapshot_name,
                      MachineDisks machines);

}  // namespace azurestackpi
