// The outcome of a backup as lines for people and as one JSON object for programs.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/discovery_run.h"
#include "host/machine_backup.h"

namespace host {

struct BackupOutcome {
  std::string backup_id;
  std::vector<MachineResult> machines;
  Discovery discovery;  // what it left out; its machines are not used
  std::vector<Warning> warnings;
  std::optional<Finding> error;  // why there is no backup, or not the whole
};

/// ok when all that was found is protected, partial when some of it, failed when none, nothing_found when there was
/// nothing; the error's own code when no machine is protected.
ExitCode backup_code(const BackupOutcome& outcome);

/// What became of a machine, at once when it is known.
std::string machine_lines(const MachineResult& result);

/// What was left out, and the closing line.
std::string summary_lines(const BackupOutcome& outcome);

/// The members backup_id, error, warnings, machines, refused, filtered and unlisted.
nlohmann::ordered_json backup_json(const BackupOutcome& outcome);

}  // namespace host
