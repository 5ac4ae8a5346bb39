// What a sweep of snapshots found and deleted, read out of the plug-in's log lines.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/discover_findings.h"
#include "host/session.h"

namespace host {

enum class SnapshotState { standing, deleted, failed };

/// A snapshot that a backup took. A text is empty when the plug-in does not tell it.
struct StandingSnapshot {
  std::string id;     // in Resource Manager; of an unmanaged disk "ACCOUNT/CONTAINER/BLOB as of TIME"
  std::string place;  // the resource group; of an unmanaged disk the storage account
  std::string disk;   // "MACHINE-ID OS disk", "MACHINE-ID data disk LUN"; of an unmanaged disk "CONTAINER/BLOB"
  std::int64_t backup_id = 0;  // seconds since the epoch; 0: not told
  bool managed = true;
  SnapshotState state = SnapshotState::standing;
};

struct SnapshotFindings {
  std::vector<StandingSnapshot> snapshots;
  std::vector<LeftOut> failures;    // what could not be looked at, or not be deleted; each once
  std::vector<std::string> errors;  // the plug-in's error lines
  std::size_t subscriptions = 0;    // looks at one, of which each is two lists: managed disks and unmanaged ones
  std::size_t failed_lists = 0;

  /// Snapshots in this state.
  std::size_t count(SnapshotState state) const;
  /// Everything was looked at, and whatever was to be deleted is gone.
  bool is_whole() const { return failures.empty() && count(SnapshotState::failed) == 0; }
};

/// lines are those of the call, in order.
SnapshotFindings read_snapshot_findings(const std::vector<LogLine>& lines);

/// True for the lines below level 4 that read_snapshot_findings needs.
bool is_snapshot_evidence(std::string_view line);

}  // namespace host
