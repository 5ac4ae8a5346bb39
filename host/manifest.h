// The record of one machine's backup: its small objects with their data, and what its disks' streams are and where they
// lie. It goes into the repository as a stream of its own after all others, so a machine is protected when its manifest
// is there, and only then.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/restic.h"

namespace host {

/// The text is no manifest. It says why.
class ManifestError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A metadata object: its path tells a setting, and some have contents besides.
struct SavedObject {
  std::string path;
  std::optional<std::string> data;
};

/// A disk whose whole stream is in the repository.
struct SavedDisk {
  std::string path;
  std::uint64_t size = 0;          // of the disk, bytes
  std::uint64_t stream_bytes = 0;  // read from the plug-in
  std::uint64_t skipped = 0;       // bytes of the disk that hold no data
  std::string sha256;              // of the stream
  std::string snapshot;            // restic's id, 64 digits
};

struct Manifest {
  std::string machine;  // the path /SUBSCRIPTION/GROUP/NAME
  std::string server;
  std::string backup_id;             // the name of the backup's snapshots, seconds since the epoch
  std::string time;                  // when the machine's backup ended, RFC 3339
  bool crash_consistent = false;     // it ran while its disks were snapshotted
  std::vector<SavedObject> objects;  // in the order of the backup
  std::vector<SavedDisk> disks;      // the OS disk first
};

/// A disk as JSON, and read back. Reading throws ManifestError and nlohmann::json::exception.
nlohmann::ordered_json disk_json(const SavedDisk& disk);
SavedDisk read_disk(const nlohmann::ordered_json& object);

/// As JSON. Throws ManifestError when a text is no UTF-8, which JSON cannot hold.
std::string manifest_text(const Manifest& manifest);

/// Reads it back. Throws ManifestError.
Manifest parse_manifest(const std::string& text);

/// Where it lies in its snapshot: the machine's path and this.
constexpr const char* manifest_name = "/manifest.json";

/// The tags of a manifest and of a disk's stream.
constexpr const char* manifest_tag = "azsbackup-manifest";
constexpr const char* disk_tag = "azsbackup-disk";

/// A manifest carries "stream=ID" for each stream that it names, so that this is known without its being read. Those of
/// older backups do not.
constexpr const char* stream_tag_name = "stream";

/// "backup=ID", which both carry.
std::string backup_tag(const std::string& backup_id);

/// A manifest in the repository, as far as its snapshot tells without its being read.
struct ManifestEntry {
  ResticSnapshot snapshot;
  std::string machine;
  std::string backup_id;
};

/// All manifests, oldest first. Throws as Restic does.
std::vector<ManifestEntry> list_manifests(const Restic& restic);

/// Throws ManifestError, and as Restic does.
Manifest load_manifest(const Restic& restic, const ManifestEntry& entry);

}  // namespace host
