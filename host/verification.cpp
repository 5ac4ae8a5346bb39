#include "host/verification.h"

#include <map>

#include "host/printable.h"
#include "host/saved_machine.h"
#include "host/sha256.h"

namespace host {

namespace {

using Streams = std::map<std::string, ResticSnapshot>;  // by restic's id

std::string check_structure(const Restic& restic) {
  try {
    restic.check();
    return "";
  } catch (const RepositoryInUse&) {
    throw;  // that is no damage
  } catch (const ResticError& error) {
    return error.what();
  }
}

std::string check_disk(const Restic& restic, const Streams& streams, const SavedDisk& disk, Progress& progress) {
  const auto found = streams.find(disk.snapshot);
  if (found == streams.end()) return disk.path + " is missing in the repository";
  Sha256 digest;
  std::uint64_t bytes = 0;
  try {
    restic.dump(found->second, [&](const char* data, std::size_t size) {
      digest.update(data, size);
      bytes += size;
      progress.advance(bytes, disk.stream_bytes);
    });
  } catch (const ResticError& error) {
    return disk.path + " cannot be read: " + error.what();
  }
  if (bytes == disk.stream_bytes && digest.finish() == disk.sha256) return "";
  return disk.path + " is not what was stored: its SHA-256 differs";
}

// What a restore would refuse.
std::string check_record(const Manifest& manifest, const std::string& machine) {
  try {
    check_manifest(manifest, machine);
    return "";
  } catch (const ManifestError& error) {
    return error.what();
  }
}

VerifiedBackup check_backup(const Restic& restic, const Streams& streams, const ManifestEntry& entry,
                            Progress& progress) {
  VerifiedBackup backup{entry, {}};
  try {
    const Manifest manifest = load_manifest(restic, entry);
    std::string refusal = check_record(manifest, entry.machine);
    if (!refusal.empty()) backup.damages.push_back(std::move(refusal));
    for (const SavedDisk& disk : manifest.disks) {
      progress.begin(printable(std::string_view(disk.path).substr(disk.path.rfind('/') + 1)));
      std::string damage = check_disk(restic, streams, disk, progress);
      progress.end();
      if (!damage.empty()) backup.damages.push_back(std::move(damage));
    }
  } catch (const ManifestError& error) {
    backup.damages.emplace_back(error.what());
  } catch (const ResticError& error) {
    backup.damages.push_back(std::string("its manifest cannot be read: ") + error.what());
  }
  return backup;
}

}  // namespace

Verification verify_repository(const Restic& restic, const std::vector<ManifestEntry>& entries, Progress& progress) {
  Streams streams;
  for (ResticSnapshot& snapshot : restic.snapshots(disk_tag)) {
    std::string id = snapshot.id;
    streams.emplace(std::move(id), std::move(snapshot));
  }
  Verification verification;
  verification.structure = check_structure(restic);
  for (const ManifestEntry& entry : entries) {
    verification.backups.push_back(check_backup(restic, streams, entry, progress));
  }
  return verification;
}

}  // namespace host
