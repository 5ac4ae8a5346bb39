// What may leave the repository: backups that the keep rules give up, and streams that belong to no backup.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "host/manifest.h"

namespace host {

/// restic's ids of streams.
using StreamIds = std::set<std::string>;

/// The streams that the manifests name. A manifest that cannot be read throws ManifestError or ResticError: what it
/// names is not known, so nothing may go.
StreamIds named_streams(const Restic& restic, const std::vector<ManifestEntry>& manifests);

struct PrunePlan {
  std::vector<ManifestEntry> kept;
  std::vector<ManifestEntry> removed;
  std::vector<ResticSnapshot> streams;    // of removed backups alone
  std::vector<ResticSnapshot> runs;       // records of runs before the oldest backup that is kept
  std::vector<ResticSnapshot> leftovers;  // that no manifest names, and too old to be of a backup that runs
};

/// rules are restic's ("--keep-last", "3", ...) and hold for each machine by itself. A stream that no manifest names is
/// left over when nothing of its backup was stored since oldest_running (seconds since the epoch): what a running
/// backup stores is named by a manifest only at the machine's end. retired are paths of machines, in any letter case,
/// none of whose backups is kept. Throws as named_streams, NotInRepository for a retired machine that has none,
/// Interrupted.
PrunePlan plan_prune(const Restic& restic, const std::vector<std::string>& rules, std::int64_t oldest_running,
                     const std::vector<std::string>& retired = {});

/// Removes what the plan says except what a manifest names now, the manifests first, and the data that nobody needs any
/// more. Throws as named_streams, Interrupted.
void carry_out(const Restic& restic, const PrunePlan& plan);

}  // namespace host
