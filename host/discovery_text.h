// The outcome of a discovery as a tree for people and as one JSON object for programs.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "host/discover_findings.h"
#include "host/machine_list.h"

namespace host {

struct Discovery {
  std::vector<Machine> machines;  // those that would be protected, in the order of their subscriptions and groups
  std::vector<LeftOut> refused;
  std::vector<LeftOut> filtered;
  std::vector<LeftOut> unlisted;
  std::vector<LeftOut> unsnapshotted{};  // of the machines
  bool snapshots_forbidden = false;
};

/// ok when all that was found would be protected, partial when some of it, failed when none, nothing_found when there
/// is nothing that could be.
ExitCode discovery_code(const Discovery& discovery);

/// Lines for a terminal, the last one a summary; nothing in them makes a terminal do anything. The filtered machines
/// are listed one by one or just counted.
std::string discovery_tree(const Discovery& discovery, bool list_filtered);

/// The same as an object with the members machines, refused, filtered and unlisted. A text that is not known is null.
nlohmann::ordered_json discovery_json(const Discovery& discovery);

}  // namespace host
