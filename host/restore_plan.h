// What a restore of one machine is going to do: its objects as they go to the plug-in, renamed where the operator wants
// something else than what was saved.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/machine_list.h"
#include "host/manifest.h"
#include "host/restore_changes.h"

namespace host {

/// The streams of disks in the repository, by restic's id.
using StoredStreams = std::map<std::string, ResticSnapshot>;

/// Throws as Restic does.
StoredStreams list_streams(const Restic& restic);

struct PlannedDisk {
  SavedDisk saved;
  std::string path;  // of the object that it is written to
  ResticSnapshot stream;
};

struct RestorePlan {
  std::string machine;  // the path that was backed up
  std::string backup_id;
  std::string time;   // of the backup
  std::string path;   // of the machine in the plug-in's objects
  std::string place;  // where the machine is going to be: /SUBSCRIPTION/GROUP/NAME
  bool keeps_configuration = true;
  bool disks_only = false;
  std::vector<SavedObject> objects;  // in their order
  std::vector<PlannedDisk> disks;
  Machine shape;  // what the objects tell of the machine
};

/// Throws ManifestError for a manifest that no machine can be made of: it is checked first, and so are its streams,
/// which have to be there and to be those of its disks.
RestorePlan plan_restore(const Manifest& manifest, const ManifestEntry& entry, const RestoreChanges& changes,
                         const StoredStreams& streams);

/// Throws UsageError for changes that fit none of the machines, or too many.
void check_fit(const RestoreChanges& changes, const std::vector<RestorePlan>& plans);

}  // namespace host
