// The restore of one machine: its settings given back through the plug-in, its disks written from their streams, the
// machine made of them; or only the question whether all this may be.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/progress.h"
#include "host/restic.h"
#include "host/restore_plan.h"
#include "host/session.h"

namespace host {

struct RestoredDisk {
  std::string path;         // as it was backed up
  std::string name;         // what it is called now: a resource id or the address of a blob; empty: not known
  std::uint64_t bytes = 0;  // written
  bool complete = false;
};

struct RestoreResult {
  RestorePlan plan;  // of a machine that could not be planned only its path and its backup
  bool done = false;
  bool interrupted = false;          // by a signal
  std::string problem;               // why it is not done
  std::string next;                  // what to do about it
  std::vector<std::string> details;  // what the plug-in had to say, fit for a terminal
  std::vector<RestoredDisk> disks;   // those that were begun; of a question those whose target is accepted
};

/// What all machines of a restore share; everything outlives it. The session collects is_restore_evidence.
struct RestoreTools {
  Session& session;
  const Server& server;
  const Restic& restic;
  Progress& progress;
};

/// Restores the machine. A failure is in the result: the disk in hand is closed before its end, which takes it back,
/// and those that were complete stay.
RestoreResult restore_machine(const RestoreTools& tools, RestorePlan plan);

/// Makes nothing: has the plug-in check the targets of the disks.
RestoreResult check_target(const RestoreTools& tools, RestorePlan plan);

/// True for the lines that both need although they are no errors.
bool is_restore_evidence(std::string_view line);

}  // namespace host
