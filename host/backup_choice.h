// Which saved machines an operator means.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/manifest.h"

namespace host {

/// The repository holds nothing of that name. The text says of which.
class NotInRepository : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Whether an operator's word names the object at path: the whole of it or its last parts, in any letter case.
bool names(std::string_view word, std::string_view path);

/// The paths as lines of a list of candidates, at most ten.
std::string candidates(const std::vector<std::string>& paths);

/// The manifests of the machines that these words name, or of all machines when there is no word, in the backup with
/// that id. "latest" is the newest backup of each named machine, or the newest of all; of a machine that is several
/// times in a backup the last one counts. Each word names one machine: throws UsageError with the candidates when it
/// names several, NotInRepository when there is none, and as Restic does.
std::vector<ManifestEntry> choose_backups(const Restic& restic, const std::string& backup,
                                          const std::vector<std::string>& machines);

}  // namespace host
