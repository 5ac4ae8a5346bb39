// Writes what there is of every selected machine into the workload files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "src/blob/disk_snapshots.h"
#include "src/discovery/scan_list.h"
#include "src/discovery/worker.h"

namespace azurestackpi {

/// What a scan counted. A machine with n data disks counts 1 + n * n disks.
struct ScanStatistics {
  std::int64_t resource_groups = 0;
  std::int64_t machines = 0;
  std::int64_t managed_machines = 0;
  std::int64_t unmanaged_machines = 0;
  std::int64_t disks = 0;
  std::uint64_t configured_size = 0;  // GB, as the descriptions say
};

/// The state of one discovery.
struct fs_scanner_s {
  std::string output_directory;
  std::string output_suffix;
  std::string snapshot_id;
  ScanList scan_list;
  std::vector<Worker> workers;  // in the order in which machines are dealt out; not empty when there are machines
  ScanStatistics statistics;
  aapi_pgn_server_handle_s* server = nullptr;  // not owned
  DiskSnapshots* snapshots = nullptr;          // not owned
};

/// Deals the machines out over the workers in turn, writes their records, takes their snapshots unless
/// "VM_SNAPSHOT_IN_DISCOVERY" is off, and completes the files. A machine that was written before, in any letter case,
/// is passed over; one with a path longer than 65,535 bytes is left out with an error line. Returns 0 always: a failed
/// write ends the scan with an error line and leaves what the buffers hold unwritten.
Status run_scanner(fs_scanner_s& scanner);

}  // namespace azurestackpi
