// A restore, planned or done, as lines for people and as one JSON object for programs.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/check_findings.h"
#include "host/discovery_run.h"
#include "host/machine_restore.h"

namespace host {

struct RestoreOutcome {
  bool dry_run = false;
  std::vector<RestoreResult> machines;
  std::vector<Warning> warnings;
  std::optional<Finding> error;  // why nothing is restored, or not all
};

/// ok when every machine is done, partial when some are, else the error's own code, or failed.
ExitCode restore_code(const RestoreOutcome& outcome);

/// What is going to be done with a machine.
std::string plan_lines(const RestorePlan& plan);

/// What became of it, at once when it is known.
std::string result_lines(const RestoreResult& result, bool dry_run);

/// The closing line.
std::string summary_line(const RestoreOutcome& outcome);

/// The members dry_run, error, warnings and machines.
nlohmann::ordered_json restore_json(const RestoreOutcome& outcome);

}  // namespace host
