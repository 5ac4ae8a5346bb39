// Is what the manifests promise in the repository? Every stream is read back and compared with its SHA-256.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/manifest.h"
#include "host/progress.h"

namespace host {

/// One machine's backup, and what is wrong with it.
struct VerifiedBackup {
  ManifestEntry entry;
  std::vector<std::string> damages;  // in plain words; empty: it can be restored
};

struct Verification {
  std::vector<VerifiedBackup> backups;
  std::string structure;  // what restic's own check complains of; empty: nothing
};

/// Checks the structure of the repository and then each backup. Throws ResticError when the repository cannot be
/// listed, RepositoryInUse when it cannot be checked because of that, Interrupted.
Verification verify_repository(const Restic& restic, const std::vector<ManifestEntry>& entries, Progress& progress);

}  // namespace host
