// What there is to do for each machine of a discovery, in the order in which the plug-in wants to be asked.
#pragma once

#include <string>
#include <vector>

#include "host/machine_list.h"

namespace host {

/// The objects of one machine; or of none (an empty machine.path): folders above the machines.
struct MachineWork {
  Machine machine;
  std::string snapshot_name;
  std::vector<std::string> paths;
};

/// Whether it is the name of a backup's snapshots: seconds since the epoch, as decimal text.
bool is_backup_id(std::string_view text);

/// Reads workload files. A machine whose records are not complete, or that cannot be backed up, has a problem. Throws
/// WorkloadError, also for a file that names no snapshots before its objects.
std::vector<MachineWork> read_machine_work(const std::vector<std::string>& files);

}  // namespace host
