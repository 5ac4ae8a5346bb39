#include "host/manifest.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "host/whole_number.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::uint64_t manifest_version = 1;
constexpr std::size_t longest_manifest = 64U << 20U;

Json as_json(const SavedObject& object) {
  return {{"path", object.path}, {"data", object.data ? Json(*object.data) : Json()}};
}

SavedObject object_of(const Json& object) {
  SavedObject saved{object.at("path"), std::nullopt};
  if (!object.at("data").is_null()) saved.data = object["data"].get<std::string>();
  return saved;
}

}  // namespace

Json disk_json(const SavedDisk& disk) {
  return {{"path", disk.path},
          {"status", "complete"},
          {"size", disk.size},
          {"stream_bytes", disk.stream_bytes},
          {"skipped_bytes", disk.skipped},
          {"sha256", disk.sha256},
          {"snapshot", disk.snapshot}};
}

SavedDisk read_disk(const Json& object) {
  if (object.at("status") != "complete") throw ManifestError("the manifest holds a disk that is not complete");
  return {object.at("path"),
          whole_number(object.at("size")),
          whole_number(object.at("stream_bytes")),
          whole_number(object.at("skipped_bytes")),
          object.at("sha256"),
          object.at("snapshot")};
}

namespace {

Manifest manifest_of(const Json& object) {
  if (whole_number(object.at("version")) != manifest_version) throw ManifestError("the manifest is of another version");
  Manifest manifest;
  manifest.machine = object.at("machine");
  manifest.server = object.at("server");
  manifest.backup_id = object.at("backup_id");
  manifest.time = object.at("time");
  manifest.crash_consistent = object.at("crash_consistent");
  for (const Json& saved : object.at("objects")) manifest.objects.push_back(object_of(saved));
  for (const Json& disk : object.at("disks")) manifest.disks.push_back(read_disk(disk));
  return manifest;
}

}  // namespace

std::string manifest_text(const Manifest& manifest) {
  Json object{{"version", manifest_version}, {"machine", manifest.machine},
              {"server", manifest.server},   {"backup_id", manifest.backup_id},
              {"time", manifest.time},       {"crash_consistent", manifest.crash_consistent},
              {"objects", Json::array()},    {"disks", Json::array()}};
  for (const SavedObject& saved : manifest.objects) object["objects"].push_back(as_json(saved));
  for (const SavedDisk& disk : manifest.disks) object["disks"].push_back(disk_json(disk));
  try {
    return object.dump(2) + "\n";
  } catch (const Json::type_error&) {
    throw ManifestError("a name or a setting of the machine is no UTF-8");
  }
}

Manifest parse_manifest(const std::string& text) {
  try {
    return manifest_of(Json::parse(text));
  } catch (const Json::exception& error) {
    throw ManifestError(std::string("the manifest cannot be read: ") + error.what());
  }
}

std::string backup_tag(const std::string& backup_id) { return "backup=" + backup_id; }

std::vector<ManifestEntry> list_manifests(const Restic& restic) {
  std::vector<ManifestEntry> entries;
  const std::string name = manifest_name;
  for (ResticSnapshot& snapshot : restic.snapshots(manifest_tag)) {
    if (snapshot.path.size() <= name.size()) continue;
    std::string machine = snapshot.path.substr(0, snapshot.path.size() - name.size());
    std::string backup_id = snapshot.tag("backup");
    entries.push_back({std::move(snapshot), std::move(machine), std::move(backup_id)});
  }
  return entries;
}

Manifest load_manifest(const Restic& restic, const ManifestEntry& entry) {
  std::string text;
  restic.dump(entry.snapshot, [&](const char* data, std::size_t size) {
    if (text.size() + size > longest_manifest) throw ManifestError("the manifest is too long to be one");
    text.append(data, size);
  });
  return parse_manifest(text);
}

}  // namespace host
