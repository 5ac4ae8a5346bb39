#include "src/object/object_properties.h"

#include "platform/bounded_text.h"
#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/object/disk_properties.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"
#include "src/object/open_object.h"
#include "src/object/restore_target.h"
#include "src/object/restored_configuration.h"
#include "src/object/vm_configuration.h"
#include "src/object/vm_disk_snapshots.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

constexpr std::size_t kDiskSlashes = 6;
constexpr std::uint32_t kReadableFile = 0100644;
constexpr std::uint64_t kBlock = 512;

void Preset(aapi_object_info_v1_t& info, const std::string& path, const aapi_pgn_server_handle_s& server) {
  info = aapi_object_info_v1_t{};
  info.record_version = 2;
  info.access_time = info.modification_time = info.change_time = platform::clock().now();
  info.mode = 6;
  V_strlcpy(info.owner, "root", sizeof(info.owner));
  V_strlcpy(info.group, "root", sizeof(info.group));
  info.ids[0] = info.ids[1] = 100;
  V_strlcpy(info.server_name, server.server_name.c_str(), sizeof(info.server_name));
  V_strlcpy(info.object_name, path.c_str(), sizeof(info.object_name));
}

Status FillMetadataFile(const FunctionLog& log, const std::string& path, const aapi_pgn_server_handle_s& server,
                        aapi_object_info_v1_t& info) {
  log.flow("Backup session : calling get_vm_details with %s to get vm configuration", path.c_str());
  std::string data;
  if (const Status status = azurestackpi_get_vm_details(path, server, data); status != kOk) {
    return status;
  }
  info.object_type = AAPI_OBJECT_FILE;
  info.size = info.block_size = data.size();
  info.block_count = 1;
  info.mode = kReadableFile;
  return kOk;
}

void FillDisk(const FunctionLog& log, std::uint64_t size, aapi_object_info_v1_t& info) {
  info.object_type = AAPI_OBJECT_FILE;
  info.size = size;
  info.block_size = kBlock;
  info.block_count = size / kBlock;
  log.detail("VHD Size: %lu", static_cast<unsigned long>(size));
}

// A discovery may be older: what it did not see is no part of the backup, which a reader of these lines finds out.
void LogAttachedDisks(const FunctionLog& log, const std::string& vm_path) {
  const auto entry = vm_details_recovery_map().find(vm_path);
  if (entry == vm_details_recovery_map().end()) {
    return;
  }
  for (const vm_managed_disk_t* const disk : ManagedDisksOf(entry->second)) {
    log.flow("Attached to %s now: %s", vm_path.c_str(), ManagedDiskPath(vm_path, *disk).c_str());
  }
  for (const vm_unmanaged_disk_t* const disk : UnmanagedDisksOf(entry->second)) {
    log.flow("Attached to %s now: %s", vm_path.c_str(), UnmanagedDiskPath(vm_path, *disk).c_str());
  }
}

// The one object of a machine whose query begins the machine's backup.
Status StartSnapshots(const FunctionLog& log, const std::string& path, const aapi_pgn_server_handle_s& server) {
  const bool managed = path.find("UseManagedDisk=Yes") != std::string::npos;
  if (!managed && path.find("UseManagedDisk=No") == std::string::npos) {
    return kOk;
  }
  std::string vm_path;
  azurestackpi_get_vmpath(path, vm_path);
  if (vm_path.empty()) {
    return kInvalidArgument;
  }
  LogAttachedDisks(log, vm_path);
  std::string& started = started_backups()[vm_path];
  if (!started.empty() && started == server.snapshot_name) {
    return kOk;  // taken anew, they would be of another moment, and stay when their disks were read already
  }
  const Status status = managed ? azurestackpi_create_snapshot_of_all_managed_disk_attached_to_vm(server, vm_path)
                                : azurestackpi_create_snapshot_of_all_unmanaged_disk_attached_to_vm(server, vm_path);
  if (status != kOk) {
    log.error("Unable to initiate snapshots for disks attached to %s", vm_path.c_str());
    return status;
  }
  started = server.snapshot_name;
  return status;
}

Status GetMetadataProperties(const FunctionLog& log, const std::string& path, const aapi_pgn_server_handle_s& server,
                             aapi_object_info_v1_t& info) {
  if (!azurestackpi_is_metafile(path)) {
    info.object_type = AAPI_OBJECT_DIRECTORY;
  } else if (const Status status = FillMetadataFile(log, path, server, info); status != kOk) {
    return status;
  }
  return StartSnapshots(log, path, server);
}

Status GetDiskProperties(const FunctionLog& log, const std::string& path, const aapi_pgn_server_handle_s& server,
                         aapi_object_info_v1_t& info) {
  log.detail("disk name : %s", path.substr(path.rfind('/') + 1).c_str());
  info.object_type = AAPI_OBJECT_FILE;
  std::uint64_t size = 0;
  const Status status =
      azurestackpi_is_mdpath(path) ? MeasureManagedDisk(path, server, size) : MeasureUnmanagedDisk(path, server, size);
  FillDisk(log, size, info);
  return status;
}

// A restore session's side: a query brings a machine's configuration, or says that a disk is about to come.

Status TakeOriginal(const FunctionLog& log, const std::string& vm_path) {
  log.flow("Restore session : calling set_vm_details with %s to preserve original configuration", vm_path.c_str());
  return azurestackpi_set_vm_details(vm_path, true, {});
}

Status TakeMetadata(const FunctionLog& log, const std::string& path, aapi_object_info_v1_t& info) {
  if (!azurestackpi_is_metafile(path)) {
    info.object_type = AAPI_OBJECT_DIRECTORY;
    return kOk;
  }
  info.object_type = AAPI_OBJECT_FILE;
  log.flow("Restore session : calling set_vm_details with %s", path.c_str());
  const Status status = azurestackpi_set_vm_details(path, false, {});
  return status == kOk ? static_cast<Status>(kNotFoundYet) : status;
}

Status GetRestoredDiskProperties(const FunctionLog& log, const std::string& path,
                                 const aapi_pgn_server_handle_s& server, aapi_object_info_v1_t& info) {
  FillDisk(log, 0, info);
  // What is refused is told when the disk is created, and at the recovery.
  static_cast<void>(ValidateRestoreTarget(path, server));
  return kNotFoundYet;
}

}  // namespace

Status azurestackpi_get_object_metadata(const std::string& path, aapi_object_info_v1_t& info,
                                        const aapi_pgn_server_handle_s& server) {
  const FunctionLog log(__func__);
  log.detail("enter: objname: %s, objname_sz: %lu", path.c_str(), static_cast<unsigned long>(path.size()));
  Preset(info, path, server);
  const bool restore = server.session_kind == AAPI_SESSION_RESTORE;
  if (restore && !IsJsonText(path)) {
    log.error("Invalid path: %s", path.c_str());
    return kInvalidArgument;
  }
  if (azurestackpi_is_metapath(path)) {
    return restore ? TakeMetadata(log, path, info) : GetMetadataProperties(log, path, server, info);
  }
  if (restore && azurestackpi_is_vmpath(path)) {
    if (const Status status = TakeOriginal(log, path); status != kOk) {
      return status;
    }
  }
  const std::string object_path = WithoutEndSlash(path);
  const std::size_t slashes = CountSlashes(object_path);
  if (slashes > kDiskSlashes) {
    log.error("Invalid path: %s", path.c_str());
    return kInvalidArgument;
  }
  log.detail("Not a Meta Path %s dirlevel  %d", path.c_str(), static_cast<int>(slashes));
  Status status = kOk;
  if (slashes < kDiskSlashes) {
    info.object_type = AAPI_OBJECT_DIRECTORY;
  } else {
    status = restore ? GetRestoredDiskProperties(log, object_path, server, info)
                     : GetDiskProperties(log, object_path, server, info);
  }
  log.detail("Leaving, rc : %d", static_cast<int>(status));
  return status;
}

Status GetOpenObjectProperties(const aapi_object_s& object, aapi_object_info_v1_t& info) {
  const FunctionLog log("azurestackpi_get_object_metadata");
  Preset(info, object.path, *object.server);
  if (object.is_restored) {
    info.object_type = AAPI_OBJECT_FILE;
    if (object.writer) {
      FillDisk(log, object.writer->disk_size(), info);
    }
    return kOk;
  }
  if (!object.image) {
    return FillMetadataFile(log, object.path, *object.server, info);
  }
  FillDisk(log, object.image->disk_size(), info);
  return kOk;
}

}  // namespace azurestackpi
