#include "src/object/object_path.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/base/text.h"

namespace azurestackpi {
namespace {

constexpr std::size_t kVmPathSlashes = 3;
constexpr std::size_t kDiskPathSlashes = 6;
constexpr std::size_t kSnapshotNameFields = 5;
constexpr std::size_t kKindField = 1;
constexpr std::size_t kTimeField = 3;
constexpr std::string_view kScheme = "https://";

struct MetadataKey {
  const char* marker;
  bool has_contents;
};
// "/Metadata/Key" is open at its end: Key1, Key2 and so on.
constexpr std::array<MetadataKey, 12> kMetadataKeys{{{"/Metadata/Size=", false},
                                                     {"/Metadata/PowerState=", false},
                                                     {"/Metadata/Vnet=", true},
                                                     {"/Metadata/VmName=", true},
                                                     {"/Metadata/RgName=", false},
                                                     {"/Metadata/Key", false},
                                                     {"/Metadata/Subnet=", false},
                                                     {"/Metadata/Nsg=", true},
                                                     {"/Metadata/SubId=", false},
                                                     {"/Metadata/StagingStorageAccount=", false},
                                                     {"/Metadata/UseManagedDisk=", true},
                                                     {"/Metadata/BootDiagnostics=", true}}};

bool Contains(const std::string& path, const char* marker) { return path.rfind(marker) != std::string::npos; }

// Where the n-th slash stands, counted from 1.
std::size_t FindSlash(const std::string& path, std::size_t n) {
  std::size_t position = path.find('/');
  for (; n > 1 && position != std::string::npos; --n) {
    position = path.find('/', position + 1);
  }
  return position;
}

// Minutes since then; none when the text is not all digits or names a time to come.
std::optional<long> AgeInMinutes(const std::string& seconds, std::time_t now) {
  std::time_t then = 0;
  const char* const end = seconds.data() + seconds.size();
  const bool digits = !seconds.empty() && seconds.find_first_not_of("0123456789") == std::string::npos;
  if (!digits || std::from_chars(seconds.data(), end, then).ec != std::errc() || then > now) {
    return std::nullopt;
  }
  return (now - then) / 60;
}

// Whether a snapshot of that time is among those to delete.
bool IsMeant(const std::string& time_text, const std::string& search_time, long age_limit, std::time_t now) {
  if (!search_time.empty()) {
    return search_time == time_text;
  }
  const std::optional<long> age = AgeInMinutes(time_text, now);
  return age && *age >= age_limit;
}

// Subscription and group of the id; false when it is too short to be one.
bool ReadSnapshotScope(const FunctionLog& log, const std::string& snapshot_id, vm_managed_disk_t& snapshot) {
  const std::vector<std::string> tokens = SplitText(snapshot_id, '/');
  if (tokens.size() > 2) {
    snapshot.m_disk_subscription_id = tokens[2];
    log.flow("Snapshot Subscription ID %s", tokens[2].c_str());
  }
  if (tokens.size() > 4) {
    snapshot.m_disk_resource_group = tokens[4];
    log.flow("Snapshot Resource Group %s", tokens[4].c_str());
  }
  if (tokens.size() <= 3) {
    log.error("Invalid snapshot id  = %s", snapshot_id.c_str());
    return false;
  }
  return true;
}

// The fields of the name, as far as it has them; false for an unknown kind of disk.
bool ReadSnapshotName(const FunctionLog& log, const std::vector<std::string>& fields, vm_managed_disk_t& snapshot,
                      std::string& time_text) {
  const std::array<std::string*, 4> outputs{&snapshot.m_vm_id, &snapshot.m_disk_kind, &snapshot.m_lun, &time_text};
  for (std::size_t i = 0; i < std::min(fields.size(), outputs.size()); ++i) {
    if (i == kKindField && fields[i] != "OSDisk" && fields[i] != "DataDisk") {
      log.error("Invalid %s disk type ", fields[i].c_str());
      return false;
    }
    *outputs[i] = fields[i];
  }
  return true;
}

}  // namespace

std::size_t CountSlashes(const std::string& path) {
  return static_cast<std::size_t>(std::count(path.begin(), path.end(), '/'));
}

bool azurestackpi_is_vmpath(const std::string& path) { return CountSlashes(path) == kVmPathSlashes; }
bool azurestackpi_is_vhdpath(const std::string& path) { return CountSlashes(path) == kDiskPathSlashes; }
bool azurestackpi_is_mdpath(const std::string& path) { return Contains(path, "/ManagedDisks:"); }
bool azurestackpi_is_metapath(const std::string& path) { return Contains(path, "/Metadata/"); }
bool azurestackpi_is_last_metafile(const std::string& path) { return Contains(path, "/Metadata/VmName="); }

bool azurestackpi_is_metafile(const std::string& path) {
  return std::any_of(kMetadataKeys.begin(), kMetadataKeys.end(),
                     [&](const MetadataKey& key) { return Contains(path, key.marker); });
}

bool azurestackpi_is_metafile_with_contents(const std::string& path) {
  return std::any_of(kMetadataKeys.begin(), kMetadataKeys.end(),
                     [&](const MetadataKey& key) { return key.has_contents && Contains(path, key.marker); });
}

std::string WithoutEndSlash(const std::string& path) {
  const bool ends_so = path.ends_with('/') && CountSlashes(path) == kDiskPathSlashes + 1;
  return ends_so ? path.substr(0, path.size() - 1) : path;
}

void azurestackpi_get_vmpath(const std::string& path, std::string& vm_path) {
  const std::size_t end = FindSlash(path, kVmPathSlashes + 1);
  vm_path = end == std::string::npos ? std::string() : path.substr(0, end);
}

Status azurestackpi_get_vhd(const std::string& path, std::string& uri) {
  const FunctionLog log(__func__);
  log.flow("enter: objname: %s", path.c_str());
  std::size_t slashes = 0;
  std::size_t uri_begin = 0;
  std::size_t last = 0;
  for (std::size_t at = path.find('/'); at != std::string::npos; at = path.find('/', at + 1)) {
    uri_begin = ++slashes == kVmPathSlashes + 1 ? at + 1 : uri_begin;
    log.detail("pos: %d, lpos: %d, vhd_uripos: %d", static_cast<int>(at), static_cast<int>(last),
               static_cast<int>(uri_begin));
    last = at;
  }
  if (slashes != kDiskPathSlashes) {
    log.error("Invalid path: %s", path.c_str());
    return kInvalidArgument;
  }
  uri = std::string(kScheme) + path.substr(uri_begin);
  log.detail("Leaving VHD URI: %s", uri.c_str());
  return kOk;
}

void azurestackpi_get_storage_account_from_url(const std::string& url, std::string& account) {
  const FunctionLog log(__func__);
  log.flow("storage_uri:%s", url.c_str());
  std::string rest = url;
  if (const std::size_t scheme = rest.find(kScheme); scheme != std::string::npos) {
    rest.erase(scheme, kScheme.size());
  }
  account = rest.substr(0, rest.find(".blob"));
  log.flow("storage account:%s", account.c_str());
}

bool ParseAndValidateMDSnapshotID(const std::string& snapshot_id, const std::string& search_time, long age_limit,
                                  vm_managed_disk_t& snapshot, std::string& time_text) {
  const FunctionLog log(__func__);
  log.flow("Snapshot ID %s", snapshot_id.c_str());
  if (!ReadSnapshotScope(log, snapshot_id, snapshot)) {
    return false;
  }
  const std::string name = snapshot_id.substr(snapshot_id.rfind('/') + 1);
  log.detail("Snapshot name = %s", name.c_str());
  const std::vector<std::string> fields = SplitText(name, '_');
  if (!ReadSnapshotName(log, fields, snapshot, time_text)) {
    return false;
  }
  if (fields.size() > kTimeField) {
    const std::time_t now = platform::clock().now();
    log.detail("Validate snapshot entry snapshot time = %s, check time = %ld, snapid = %s, searchsnapid = %s",
               time_text.c_str(), static_cast<long>(now), snapshot_id.c_str(), search_time.c_str());
    const bool meant = IsMeant(time_text, search_time, age_limit, now);
    log.detail("%s snapshot entry to delete, snapid = %s, disk snapshot id = %s", meant ? "Valid" : "Not valid",
               search_time.c_str(), snapshot_id.c_str());
    if (!meant) {
      return false;
    }
  }
  log.detail("Snapshot name tokens number %d", static_cast<int>(fields.size()));
  return fields.size() == kSnapshotNameFields;
}

}  // namespace azurestackpi
