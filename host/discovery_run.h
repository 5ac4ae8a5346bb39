// A discovery through the plug-in: the call itself, and its outcome put together from the status, the log lines and the
// workload files.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/discovery_text.h"
#include "host/outcome.h"
#include "host/secret.h"
#include "host/session.h"

namespace host {

/// What came of it: either the discovery, whole or in part, or why there is none.
struct DiscoveryOutcome {
  std::variant<Discovery, Finding> result;
  std::vector<Warning> warnings;

  ExitCode code() const;
};

struct DiscoveryRequest {
  std::string server_name;  // "azurestack:HOST"
  std::vector<std::string> selections;
  std::string folder;         // where the workload files go; it is empty
  std::string snapshot_name;  // seconds since the epoch
};

/// Opens the server and discovers; the session collects is_discovery_evidence.
DiscoveryOutcome run_discovery(Session& session, const DiscoveryRequest& request, const Secret& login);

/// Claims and opens the server; when the plug-in refuses, says why and leaves server without a usable handle.
std::optional<Finding> open_server(std::optional<Server>& server, Session& session, const std::string& name,
                                   const Secret& login);

/// The paths of the workload files of a folder, by name.
std::vector<std::string> workload_files(const std::string& folder);

/// Adds a warning when others can read the credentials store; an empty path: there is none. Throws UsageError.
void warn_of_store(std::vector<Warning>& warnings, const std::string& path);

}  // namespace host
