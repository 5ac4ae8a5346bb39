// A whole discovery: workers and streams, the selected machines, the workload files.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/blob/disk_snapshots.h"

namespace azurestackpi {

/// What a host asks for.
struct DiscoveryRequest {
  std::string selections;     // "/SUBSCRIPTION[/GROUP[/VM]]", separated by blanks
  std::string proxyclients;   // names of the workers, separated by blanks
  std::string wkldoutdir;     // directory of the workload files, made when missing
  std::string outfilesuffix;  // of the workload files: "WORKER.SUFFIX.STREAM"
  std::string schedtype;      // logged only
  std::string snapid;         // names the snapshots and stands in every workload file
};

/// Writes the workload files. Returns 0, also when the scan itself had to end early, which only the log tells; 6602
/// without memory; 6601 for machines without a worker, or a suffix or snapshot id of 512 bytes or more; the shell's
/// status when the directory cannot be made; or the status of the selections. snapshots: used when the configuration
/// wants snapshots now.
Status azurestackpi_impl_discovery(aapi_pgn_server_handle_s& server, const DiscoveryRequest& request,
                                   DiskSnapshots& snapshots);

}  // namespace azurestackpi
