// What commands have in common that work on a repository and need no Azure Stack: their failures and their report.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "host/exit_codes.h"
#include "host/options.h"
#include "host/progress.h"
#include "host/restic.h"

namespace host {

/// The options of all of them.
struct RepositoryWork {
  OutputOptions output;
  RepositoryOptions repository;
};

/// What a command found: its lines, the further members of its JSON object, and how it ends.
struct Answer {
  ExitCode code = ExitCode::ok;
  std::string lines;
  nlohmann::ordered_json members = nlohmann::ordered_json::object();
};

/// Does the work on the opened repository and prints its answer. Its failures become lines and exit codes as finding_of
/// says; UsageError and std::system_error pass through.
ExitCode run_on_repository(const char* command, const RepositoryWork& options,
                           const std::function<Answer(const Restic&, Progress&)>& work);

}  // namespace host
