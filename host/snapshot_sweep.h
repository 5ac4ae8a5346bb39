// The plug-in's clean-up of snapshots, and whether it did what it was called for: its status tells too little, since it
// goes on behind everything that fails.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/plugin.h"
#include "host/secret.h"
#include "host/session.h"
#include "host/snapshot_findings.h"

namespace host {

/// Settings that go in front of the configuration: the snapshots of one backup go, whether they were taken by the
/// discovery or machine by machine. A backup's id does not come again, so nobody reads them any more.
constexpr const char* sweep_of_backup = "VM_SNAPSHOT_IN_DISCOVERY=true\n";

struct SweepRequest {
  std::string server_name;  // "azurestack:HOST"
  SessionSettings settings;
  std::vector<std::string> selections;
  std::string backup_id;  // whose snapshots are meant; empty: what the settings say
};

struct SweepOutcome {
  SnapshotFindings found;
  std::optional<Finding> error;  // why nothing could be looked at
};

/// Opens the server and calls for the clean-up.
SweepOutcome sweep_snapshots(const Plugin& plugin, SweepRequest request, const Secret& login, LogFile& log);

/// What was not done, as lines for a terminal and as a member of a report.
std::string failure_lines(const SnapshotFindings& found);
nlohmann::ordered_json failures_json(const SnapshotFindings& found);

}  // namespace host
