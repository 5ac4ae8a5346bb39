#include "src/object/vm_disk_snapshots.h"

#include <memory>
#include <string_view>

#include "platform/bounded_text.h"
#include "platform/clock.h"
#include "src/base/text.h"
#include "src/blob/disk_snapshots.h"
#include "src/blob/managed_disk_snapshots.h"
#include "src/blob/page_blob_snapshots.h"
#include "src/config/config.h"
#include "src/object/disk_export.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"
#include "src/object/vm_configuration.h"

namespace azurestackpi {
namespace {

constexpr const char* kInDiscovery = "VM_SNAPSHOT_IN_DISCOVERY";

std::string Setting(const char* key, const char* fallback) {
  return AzureStackPi_Config::getInstance().ConfValueOr(key, fallback);
}

// Every prefix of "false" but the empty one, which is a yes: a discovery has taken the snapshots then.
bool IsNo(const std::string& value) {
  constexpr std::string_view no = "false";
  return !value.empty() && value.size() <= no.size() && EqualIgnoringCase(value, no.substr(0, value.size()));
}

const vm_details_t* KnownMachine(const FunctionLog& log, const std::string& vm_path) {
  const auto entry = vm_details_recovery_map().find(vm_path);
  if (entry == vm_details_recovery_map().end()) {
    return nullptr;
  }
  log.flow("found vm in recovery map %s", vm_path.c_str());
  return &entry->second;
}

Status StartSnapshot(const FunctionLog& log, const aapi_pgn_server_handle_s& server, vm_managed_disk_t& disk) {
  std::string operation;
  const Status status =
      CreateManagedDiskSnapshot(&server, server.snapshot_name.c_str(), kSnapshotTag, disk, &operation, kShortRequest);
  const auto rc = static_cast<int>(status);
  if (status != kOk) {
    log.error("Init snapshot for managed disk failed for disk %s. ret: %d ", disk.m_disk_name.c_str(), rc);
    return status;
  }
  if (disk.m_disk_role == kOsDiskRole) {
    log.detail("Init snapshot for managed disk successful for disk %s. ret: %d ", disk.m_disk_name.c_str(), rc);
  } else {
    log.detail("Init snapshot for managed disk successful for disk. ret: %d ", rc);
  }
  // An address of an earlier backup must not stand for this snapshot.
  disk.m_extra3 = operation;
  log.detail("Async operation uri : %s", operation.c_str());
  return status;
}

// The managed disk at path by what is known of it, else by what its machine's description says.
vm_managed_disk_t* LookUpManagedDisk(const FunctionLog& log, const aapi_pgn_server_handle_s& server,
                                     const std::string& path) {
  const auto entry = vm_managed_disk_map().find(path);
  if (entry != vm_managed_disk_map().end()) {
    return &entry->second;
  }
  vm_details_t* vm = nullptr;
  vm_managed_disk_t* const disk = FindVmDetails(server, path, vm) == kOk ? FindManagedDisk(*vm, path) : nullptr;
  if (disk == nullptr) {
    log.error("Managed disk %s is not found. AAPI_Errno = %d", path.c_str(), static_cast<int>(kResourceNotFound));
  }
  return disk;
}

Status DeleteSnapshotOf(const aapi_pgn_server_handle_s& server, const std::string& path, const vm_managed_disk_t& disk,
                        const std::string& backup_time) {
  const std::unique_ptr<DiskExport> known = TakeUnusedExport(path, ManagedSnapshotName(disk, backup_time));
  return known ? known->DeleteSnapshot() : DiskExport({&server, path, backup_time, disk}, true).DeleteSnapshot();
}

}  // namespace

bool SnapshotsAreTakenInDiscovery() { return IsYes(Setting(kInDiscovery, "true")); }

bool UnmanagedSnapshotsAreTakenInBackup() {
  return IsYes(Setting("ASYNC_SNAPSHOT_SUPPORT", "true")) && IsNo(Setting(kInDiscovery, "false"));
}

Status RequireBackupTime(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const std::string& path) {
  if (!server.snapshot_name.empty()) {
    return kOk;
  }
  log.error(
      "The backup's snapshot name is not known: get_snappath_from_realpath must be called before %s is used. "
      "AAPI_Errno = %d",
      path.c_str(), static_cast<int>(kInvalidArgument));
  return kInvalidArgument;
}

Status azurestackpi_create_snapshot_of_all_managed_disk_attached_to_vm(const aapi_pgn_server_handle_s& server,
                                                                       const std::string& vm_path) {
  const FunctionLog log(__func__);
  const std::string in_discovery = Setting(kInDiscovery, "true");
  if (!IsNo(in_discovery)) {
    if (!IsYes(in_discovery)) {
      log.error("%s is neither true nor false: managed disks of %s get no snapshots", kInDiscovery, vm_path.c_str());
    }
    return kOk;
  }
  log.flow("Initiate snapshot request for all managed disks for %s", vm_path.c_str());
  const vm_details_t* const vm = KnownMachine(log, vm_path);
  if (vm == nullptr) {
    return kOk;
  }
  if (const Status status = RequireBackupTime(log, server, vm_path); status != kOk) {
    return status;
  }
  std::string started;
  for (vm_managed_disk_t* const disk : ManagedDisksOf(*vm)) {
    if (const Status status = StartSnapshot(log, server, *disk); status != kOk) {
      if (!started.empty()) {
        log.error("Snapshots of %s stay:%s", vm_path.c_str(), started.c_str());
      }
      return status;
    }
    started.append(" ").append(ManagedSnapshotName(*disk, server.snapshot_name));
  }
  return kOk;
}

Status azurestackpi_create_snapshot_of_all_unmanaged_disk_attached_to_vm(const aapi_pgn_server_handle_s& server,
                                                                         const std::string& vm_path) {
  const FunctionLog log(__func__);
  std::string in_discovery;
  Status status = AzureStackPi_Config::getInstance().GetConfVal(kInDiscovery, in_discovery);
  if (!UnmanagedSnapshotsAreTakenInBackup()) {
    return status;
  }
  log.flow("Initiate snapshot request for all unmanaged disks for %s", vm_path.c_str());
  const vm_details_t* const vm = KnownMachine(log, vm_path);
  if (vm == nullptr) {
    return status;
  }
  if (const Status missing = RequireBackupTime(log, server, vm_path); missing != kOk) {
    return missing;
  }
  for (const vm_unmanaged_disk_t* const disk : UnmanagedDisksOf(*vm)) {
    status = CreateSnapshot(disk->m_uri, server.snapshot_name, kSnapshotTag, send_keepalive_callback);
    log.flow("Snapshot initiated for disk %s %s", disk->m_uri.c_str(), status == kOk ? "Successful" : "Failed");
  }
  return status;
}

Status azurestackpi_delete_managed_disk_snapshot(const aapi_pgn_server_handle_s& server, const std::string& path,
                                                 const std::string& backup_time, bool& is_managed) {
  const FunctionLog log(__func__);
  is_managed = false;
  if (path.empty()) {
    log.error("Empty path specified");
    return kInvalidArgument;
  }
  const auto entry = vm_managed_disk_map().find(path);
  if (entry == vm_managed_disk_map().end()) {
    return kOk;
  }
  is_managed = true;
  return DeleteSnapshotOf(server, path, entry->second, backup_time);
}

Status CreateSnapshotOfDisk(const aapi_pgn_server_handle_s& server, const std::string& path, aapi_snapshot_v1_t& out) {
  const FunctionLog log(__func__);
  const std::string disk_path = WithoutEndSlash(path);
  std::string uri;
  if (const Status status = azurestackpi_get_vhd(disk_path, uri); status != kOk) {
    return status;
  }
  const std::time_t now = platform::clock().now();
  const std::string name = server.snapshot_name.empty() ? std::to_string(now) : server.snapshot_name;
  Status status = kOk;
  if (azurestackpi_is_mdpath(disk_path)) {
    vm_managed_disk_t* const disk = LookUpManagedDisk(log, server, disk_path);
    status = disk == nullptr
                 ? static_cast<Status>(kResourceNotFound)
                 : CreateManagedDiskSnapshot(&server, name.c_str(), kSnapshotTag, *disk, nullptr, kLongRequest);
  } else {
    status = CreateSnapshot(uri, name, kSnapshotTag, send_keepalive_callback);
  }
  if (status == kOk) {
    out = {};
    V_strlcpy(out.name, name.c_str(), sizeof(out.name));
    out.time = now;
  }
  return status;
}

Status DeleteSnapshotOfDisk(const aapi_pgn_server_handle_s& server, const std::string& path,
                            const std::string& snapshot_name) {
  const FunctionLog log(__func__);
  const std::string disk_path = WithoutEndSlash(path);
  std::string uri;
  if (const Status status = azurestackpi_get_vhd(disk_path, uri); status != kOk) {
    return status;
  }
  const std::string& name = snapshot_name.empty() ? server.snapshot_name : snapshot_name;
  if (name.empty()) {
    // To the routines below no name means all that are old enough.
    return RequireBackupTime(log, server, path);
  }
  if (!azurestackpi_is_mdpath(disk_path)) {
    return DeleteSnapshot(uri, name, kSnapshotTag, send_keepalive_callback);
  }
  bool is_managed = false;
  const Status status = azurestackpi_delete_managed_disk_snapshot(server, disk_path, name, is_managed);
  if (is_managed) {
    return status;
  }
  vm_managed_disk_t* const disk = LookUpManagedDisk(log, server, disk_path);
  return disk == nullptr ? static_cast<Status>(kResourceNotFound) : DeleteSnapshotOf(server, disk_path, *disk, name);
}

}  // namespace azurestackpi
