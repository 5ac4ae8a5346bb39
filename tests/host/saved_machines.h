// Machines as a backup leaves them in a repository.
#pragma once

#include <string>

#include "host/manifest.h"

namespace host_test {

/// The path of the disk that the machines here have, below the machine's.
inline const std::string managed_disk = "/ManagedDisks:Premium_LRS/g/os";

/// The stream of a disk of 8 MiB with two ranges: 5 MiB in front, a sector at the end that holds `footer`.
std::string disk_stream(const std::string& footer);

/// A disk with that stream, as the repository has it.
host::SavedDisk store_disk(const host::Restic& restic, const std::string& path, const std::string& stream,
                           const std::string& backup_id);

/// The manifest of a machine with those disks.
host::Manifest manifest_of(const std::string& machine, const std::string& backup_id,
                           std::vector<host::SavedDisk> disks);

/// Returns its snapshot's id. Without tags of its streams it looks like one of an older azsbackup.
std::string store_manifest(const host::Restic& restic, const host::Manifest& manifest, bool with_stream_tags = true);

}  // namespace host_test
