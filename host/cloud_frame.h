// What commands have in common that ask one thing of an Azure Stack: their failures and their report.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/log_file.h"
#include "host/options.h"
#include "host/outcome.h"
#include "host/secret.h"

namespace host {

/// The options of all of them.
struct CloudWork {
  CommonOptions common;
  std::vector<std::string> selections;
};

struct CloudTools {
  const Secret& login;
  LogFile& log;
};

/// What came of the work, filled as it goes on.
struct CloudAnswer {
  ExitCode code = ExitCode::ok;  // without an error
  std::optional<Finding> error;  // why there is no more than this
  std::vector<Warning> warnings;
  std::string lines;  // without an error
  nlohmann::ordered_json members = nlohmann::ordered_json::object();
};

/// Does the work with the selections as read_selections gives them, and prints its answer. Its failures become lines
/// and exit codes as finding_of says; a signal that came during it is one. Throws UsageError.
ExitCode run_on_cloud(const char* command, CloudWork& options,
                      const std::function<void(const CloudTools&, CloudAnswer&)>& work);

}  // namespace host
