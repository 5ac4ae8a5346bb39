#include "src/object/disk_properties.h"

#include <exception>

#include "src/base/logging.h"
#include "src/blob/disk_layout.h"
#include "src/blob/disk_snapshots.h"
#include "src/blob/managed_disk_snapshots.h"
#include "src/blob/page_blob_snapshots.h"
#include "src/object/disk_export.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"
#include "src/object/open_object.h"
#include "src/object/vm_configuration.h"
#include "src/object/vm_disk_snapshots.h"

namespace azurestackpi {
namespace {

constexpr const char* kFunction = "azurestackpi_get_object_metadata";  // as whose part the lines are known
constexpr const char* kMarker = "ManagedDisks:";

SnapshotRef FindSnapshot(const std::string& uri, const std::string& backup_time) {
  // With the snapshots of a discovery, or of the machine's start, there is one as a rule; else a new one is taken.
  const bool look_first = SnapshotsAreTakenInDiscovery() || UnmanagedSnapshotsAreTakenInBackup();
  SnapshotRef snapshot;
  static_cast<void>(
      FetchOrCreateSnapshot(uri, backup_time, kSnapshotTag, send_keepalive_callback, look_first, true, snapshot));
  return snapshot;
}

// The storage account type stands where other systems would name an account.
void LogPathParts(const FunctionLog& log, const std::string& path) {
  const std::size_t tag_begin = path.find(kMarker);
  const std::size_t tag_end = path.find('/', tag_begin);
  const std::string tag = path.substr(tag_begin, tag_end - tag_begin);
  log.detail("managed disk tag : %s", tag.c_str());
  log.detail("storage account name : %s", tag.substr(tag.find(':') + 1).c_str());
  const std::string behind = tag_end == std::string::npos ? std::string() : path.substr(tag_end + 1);
  log.detail("disk id : %s", (path.substr(0, tag_begin) + behind).c_str());
}

void LogDisk(const FunctionLog& log, const vm_managed_disk_t& disk) {
  log.detail("Found disk - id %s name %s", disk.m_disk_id.c_str(), disk.m_disk_name.c_str());
  log.detail("Disk details :");
  log.detail("- id %s", disk.m_disk_id.c_str());
  log.detail("- lun id %s", disk.m_lun.c_str());
  log.detail("- vm id %s", disk.m_vm_id.c_str());
  log.detail("- type name %s", disk.m_disk_kind.c_str());
  log.detail("- sat name %s", disk.m_storage_account_type.c_str());
  log.detail("- name %s", disk.m_disk_name.c_str());
  log.detail("- sub id %s", disk.m_disk_subscription_id.c_str());
  log.detail("- rg name %s", disk.m_disk_resource_group.c_str());
}

vm_managed_disk_t* FindDisk(const FunctionLog& log, const std::string& path) {
  std::string vm_path;
  azurestackpi_get_vmpath(path, vm_path);
  const auto entry = vm_details_recovery_map().find(vm_path);
  if (entry == vm_details_recovery_map().end()) {
    return nullptr;
  }
  log.flow("found vm in recovery map %s", vm_path.c_str());
  return FindManagedDisk(entry->second, path);
}

Status MeasureExport(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const std::string& address,
                     std::uint64_t& size) {
  log.detail("access SAS URI <%s>", address.c_str());
  SnapshotRef blob;
  if (FetchManagedDiskSnapshot(&server, address, send_keepalive_callback, blob) != kOk) {
    log.error("Failed to find blob reference for managed disk snapshot <%s>", address.c_str());
    return kSnapshotBlobNotFound;
  }
  const Status status = GetVhdSizeByBlobRef(*blob, size);
  log.detail("VHD SIZE <%li>", static_cast<long>(size));
  return status;
}

// One process has a machine's backup from its start to its end.
bool IsOnlyReader(const std::string& path, const aapi_pgn_server_handle_s& server) {
  std::string vm_path;
  azurestackpi_get_vmpath(path, vm_path);
  const auto begun = started_backups().find(vm_path);
  return begun != started_backups().end() && begun->second == server.snapshot_name && !IsBeingRead(path);
}

Status ExportAndMeasure(const FunctionLog& log, const std::string& path, const aapi_pgn_server_handle_s& server,
                        const vm_managed_disk_t& disk, std::uint64_t& size) {
  DiskExport exported({&server, path, server.snapshot_name, disk}, false);
  if (const Status status = exported.Begin(IsOnlyReader(path, server)); status != kOk) {
    log.error("Export snapshot for managed disk %s failed. ret: %d ", disk.m_disk_name.c_str(),
              static_cast<int>(status));
    return status;
  }
  if (const Status status = MeasureExport(log, server, exported.address(), size); status != kOk) {
    return status;
  }
  vm_managed_disk_t& entry = vm_managed_disk_map()[path] = disk;
  entry.m_extra2 = exported.grant().disk.m_extra2;
  exported.Keep();
  return kOk;
}

}  // namespace

Status MeasureUnmanagedDisk(const std::string& path, const aapi_pgn_server_handle_s& server, std::uint64_t& size) {
  const FunctionLog log(kFunction);
  size = 0;
  if (const Status status = RequireBackupTime(log, server, path); status != kOk) {
    return status;
  }
  std::string uri;
  if (const Status status = azurestackpi_get_vhd(path, uri); status != kOk) {
    return status;
  }
  log.detail("VHD URI: %s", uri.c_str());
  try {
    SnapshotRef snapshot = FindSnapshot(uri, server.snapshot_name);
    if (!snapshot) {
      return kNotFoundYet;
    }
    LogBlobFacts(log, *snapshot);
    const Status status = GetVhdSizeByBlobRef(*snapshot, size);
    destroySnapshotReference(snapshot);
    return status;
  } catch (const std::exception& error) {
    log.exception("Exception thrown: %s", error.what());
  } catch (...) {
    log.exception("Unknown exception");
  }
  return kNotFoundYet;
}

Status MeasureManagedDisk(const std::string& path, const aapi_pgn_server_handle_s& server, std::uint64_t& size) {
  const FunctionLog log(kFunction);
  size = 0;
  log.flow("Dealing with Managed disk here %s", path.c_str());
  LogPathParts(log, path);
  // The service grants one export of a snapshot at a time, and a query that fails must not leave an older backup's to
  // be opened as its own. A failure is told; the export says whether it matters.
  RevokeUnusedExports(path);
  vm_managed_disk_t* const disk = FindDisk(log, path);
  if (disk == nullptr) {
    return kOk;
  }
  LogDisk(log, *disk);
  if (const Status status = RequireBackupTime(log, server, path); status != kOk) {
    return status;
  }
  if (!disk->m_extra3.empty()) {
    if (const Status status = CheckifSnapshotComplete(&server, *disk); status != kOk) {
      log.error("Snapshot for managed disk %s failed. ret: %d ", disk->m_disk_name.c_str(), static_cast<int>(status));
      return status;
    }
  }
  return ExportAndMeasure(log, path, server, *disk, size);
}

}  // namespace azurestackpi
