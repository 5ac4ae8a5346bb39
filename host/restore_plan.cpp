#include "host/restore_plan.h"

#include <strings.h>

#include <algorithm>
#include <sstream>
#include <utility>

#include "host/errors.h"
#include "host/printable.h"
#include "host/saved_machine.h"

namespace host {

namespace {

constexpr std::string_view managed_mark = "ManagedDisks:";
constexpr std::string_view metadata_mark = "/Metadata/";
constexpr std::string_view last_key = "VmName";

// The parts between the slashes; the one in front of the first slash is left out.
std::vector<std::string> parts_of(const std::string& path) {
  std::vector<std::string> parts;
  std::istringstream text(path.substr(1));
  for (std::string part; std::getline(text, part, '/');) parts.push_back(part);
  return parts;
}

std::string path_of(const std::vector<std::string>& parts) {
  std::string path;
  for (const std::string& part : parts) path.append("/").append(part);
  return path;
}

class Planner {
 public:
  Planner(const Manifest& manifest, const RestoreChanges& changes, const StoredStreams& streams)
      : manifest_(manifest), changes_(changes), streams_(streams) {}

  RestorePlan plan() {
    plan_.machine = manifest_.machine;
    plan_.backup_id = manifest_.backup_id;
    plan_.time = manifest_.time;
    plan_.keeps_configuration = changes_.keeps_configuration();
    plan_.disks_only = changes_.disks_only;
    choose_place();
    for (const SavedObject& object : manifest_.objects) add_object(object);
    for (const SavedDisk& disk : manifest_.disks) {
      plan_.disks.push_back({disk, renamed_disk(disk.path), stream_of(disk)});
    }
    plan_.shape = shape();
    return std::move(plan_);
  }

 private:
  // Two ways lead to another place: the machine's path says it when the configuration is kept, its settings otherwise.
  void choose_place() {
    std::vector<std::string> parts = parts_of(manifest_.machine);
    if (!changes_.to.empty()) {
      const std::vector<std::string> wanted = parts_of(changes_.to);
      std::copy(wanted.begin(), wanted.end(), parts.begin());
    }
    plan_.path = path_of(parts);
    parts = {changed("SubId", parts[0]), changed("RgName", parts[1]), changed("VmName", parts[2])};
    plan_.place = path_of(parts);
  }

  std::string changed(const char* key, const std::string& saved) const {
    const std::string* value = changes_.find(key);
    return value == nullptr ? saved : *value;
  }

  std::string moved(const std::string& path) const { return plan_.path + path.substr(manifest_.machine.size()); }

  // The folder of the objects is none itself. A renamed value has no folders of its own any more.
  void add_object(const SavedObject& object) {
    const Setting setting = setting_of(manifest_.machine, object.path);
    if (setting.key.empty()) return;
    if (setting.key == last_key) add_missing();
    const std::string* value = changes_.find(setting.key);
    std::string path = value == nullptr ? moved(object.path) : setting_path(setting.key, *value);
    if (value != nullptr && !plan_.objects.empty() && plan_.objects.back().path == path) plan_.objects.pop_back();
    plan_.objects.push_back({std::move(path), object.data});
  }

  std::string setting_path(const std::string& key, const std::string& value) const {
    return plan_.path + std::string(metadata_mark) + key + "=" + value;
  }

  // A machine without a security group has no object of it; the operator may want one.
  void add_missing() {
    for (const auto& [key, value] : changes_.settings) {
      if (scope_of(key) != KeyScope::machine || key == last_key) continue;
      const bool saved = std::any_of(manifest_.objects.begin(), manifest_.objects.end(),
                                     [&, name = std::string_view(key)](auto& object) {
                                       return setting_of(manifest_.machine, object.path).key == name;
                                     });
      if (!saved) plan_.objects.push_back({setting_path(key, value), ""});
    }
  }

  std::string renamed_disk(const std::string& saved) const {
    std::vector<std::string> parts = parts_of(moved(saved));
    std::string& first = parts[3];
    std::string& second = parts[4];
    if (first.starts_with(managed_mark)) {
      first = std::string(managed_mark) + changed("DiskType", first.substr(managed_mark.size()));
      second = changed("DiskRg", second);
    } else {
      const std::string account = changed("StorageAccount", first);
      const bool is_host = account.find('.') != std::string::npos;
      first = is_host ? account : account + first.substr(std::min(first.find('.'), first.size()));
      second = changed("Container", second);
    }
    return path_of(parts);
  }

  ResticSnapshot stream_of(const SavedDisk& disk) const {
    const auto found = streams_.find(disk.snapshot);
    if (found == streams_.end()) {
      throw ManifestError("the backup of " + printable(manifest_.machine) + " is damaged: the stream of " +
                          printable(disk.path) + " is not in the repository");
    }
    if (found->second.path != disk.path) {
      throw ManifestError("the backup of " + printable(manifest_.machine) + " is damaged: the stream of " +
                          printable(disk.path) + " is one of " + printable(found->second.path));
    }
    return found->second;
  }

  Machine shape() const {
    MachineList list;
    for (const PlannedDisk& disk : plan_.disks) list.add(disk.path);
    for (const SavedObject& object : plan_.objects) list.add(object.path);
    return list.take().front();
  }

  const Manifest& manifest_;
  const RestoreChanges& changes_;
  const StoredStreams& streams_;
  RestorePlan plan_;
};

bool has_managed_disks(const RestorePlan& plan) {
  return std::holds_alternative<ManagedDisk>(plan.shape.disks.front().source);
}

}  // namespace

StoredStreams list_streams(const Restic& restic) {
  StoredStreams streams;
  for (ResticSnapshot& snapshot : restic.snapshots(disk_tag)) {
    std::string id = snapshot.id;
    streams.emplace(std::move(id), std::move(snapshot));
  }
  return streams;
}

RestorePlan plan_restore(const Manifest& manifest, const ManifestEntry& entry, const RestoreChanges& changes,
                         const StoredStreams& streams) {
  check_manifest(manifest, entry.machine);
  return Planner(manifest, changes, streams).plan();
}

void check_fit(const RestoreChanges& changes, const std::vector<RestorePlan>& plans) {
  if (changes.find(last_key) != nullptr && plans.size() > 1) {
    throw UsageError("a new name is for one machine, and these are " + std::to_string(plans.size()) +
                     "; name the one: restore BACKUP MACHINE");
  }
  for (const auto& [key, value] : changes.settings) {
    const KeyScope scope = scope_of(key);
    if (scope == KeyScope::machine || plans.empty()) continue;
    const bool wanted = scope == KeyScope::managed_disks;
    if (std::none_of(plans.begin(), plans.end(), [&](const auto& plan) { return has_managed_disks(plan) == wanted; })) {
      throw UsageError(key + " is for " + (wanted ? "managed" : "unmanaged") +
                       " disks, and there are none; for these " +
                       (wanted ? "StorageAccount and Container" : "DiskRg and DiskType") + " are");
    }
  }
}

}  // namespace host
