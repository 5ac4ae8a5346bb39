// The record of one run of a backup: what became of each machine, those that failed and were refused included. It goes
// into the repository beside the manifests, which tell of protected machines only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/backup_text.h"
#include "host/restic.h"

namespace host {

/// The tag of a record; it carries "backup=ID" as manifests do.
constexpr const char* run_tag = "azsbackup-run";

/// A backup whose machines are spread over several processes has a record of each.
struct RunRecord {
  std::int64_t begin = 0;  // seconds since the epoch
  std::int64_t end = 0;
  BackupOutcome outcome;
};

/// Names that are no UTF-8 are stored with a mark in their place. Throws as Restic does.
void store_run(const Restic& restic, const RunRecord& record);

/// The snapshots of all records, oldest first. Throws as Restic does.
std::vector<ResticSnapshot> list_runs(const Restic& restic);

/// Throws as parse_run and as Restic does.
RunRecord load_run(const Restic& restic, const ResticSnapshot& snapshot);

/// The record that a stored text is. Throws ManifestError when it is none.
RunRecord parse_run(const std::string& text);

}  // namespace host
