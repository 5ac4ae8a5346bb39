// The backup of one machine: its objects read through the plug-in, its disks stored as streams, its manifest last.
#pragma once

#include <string>
#include <vector>

#include "host/discovery_run.h"
#include "host/machine_work.h"
#include "host/manifest.h"
#include "host/progress.h"
#include "host/restic.h"
#include "host/session.h"

namespace host {

struct MachineResult {
  std::string machine;
  bool is_protected = false;
  bool is_earlier = false;  // by an earlier run of the same backup, which has told its disks
  std::string problem;      // why it is not
  std::string next;         // what to do about it
  std::vector<SavedDisk> disks;
  std::string manifest;  // restic's id of its snapshot
  std::vector<Warning> warnings;
  std::uint64_t added = 0;    // bytes that the repository did not hold yet
  std::uint64_t seconds = 0;  // that the machine took
};

/// What all machines of a backup share; everything outlives the backup.
struct BackupTools {
  Session& session;
  const Server& server;
  const std::string& server_name;
  const Restic& restic;
  Progress& progress;
};

/// Backs the machine up. A failure is in the result and leaves no manifest; Interrupted is thrown, with everything
/// closed.
MachineResult back_up_machine(const BackupTools& tools, const MachineWork& work);

/// Asks for the properties of folders above the machines, as a host has to. Failures are in the plug-in's log; what
/// they mean shows at the machines.
void query_folders(const BackupTools& tools, const MachineWork& work);

}  // namespace host
