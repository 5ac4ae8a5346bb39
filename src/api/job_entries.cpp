// Entry points of a whole job: discovery, the hooks around backup and restore, recovery.
#include <cstdlib>
#include <string>

#include "src/api/entry_frame.h"
#include "src/api/entry_points.h"
#include "src/base/process_state.h"
#include "src/base/server_handle.h"
#include "src/base/text.h"
#include "src/blob/azure_disk_snapshots.h"
#include "src/config/config.h"
#include "src/discovery/discovery.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"
#include "src/object/restore_state.h"
#include "src/object/snapshot_cleanup.h"
#include "src/recovery/vm_recovery.h"

using azurestackpi::AzureStackPi_Config;
using azurestackpi::EntryFrame;
using azurestackpi::FunctionLog;
using azurestackpi::getValue;
using azurestackpi::ProcessValue;
using azurestackpi::RunEntryPoint;
using azurestackpi::Status;

namespace {

// Set once a recovery failed and never cleared again: one failure taints the whole restore of this process.
ProcessValue<bool> recovery_failed("failure of a recovery");

enum class SnapshotCleanup { kDoNotDelete = 0, kDeleteAfterBackup = 1, kDeleteBeforeBackup = 2 };

SnapshotCleanup ReadCleanupPolicy(const FunctionLog& log) {
  const std::string value = AzureStackPi_Config::getInstance().ConfValueOr("ENABLE_SNAPSHOT_CLEANUP", "0");
  const long number = std::strtol(value.c_str(), nullptr, 10);
  const int policy = number == 1 || number == 2 ? static_cast<int>(number) : 0;
  log.flow("Delete Stale Snapshot: %d (Supported configuration : %s)", policy,
           "0: DO_NOT_DELETE, 1: DELETE_AFTER_BACKUP, 2: DELETE_BEFORE_BACKUP");
  return static_cast<SnapshotCleanup>(policy);
}

// Without a name every old snapshot would be meant, whatever the policy says of those.
Status DeleteSnapshotsOfBackup(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const char* selections,
                               const std::string& snapid) {
  const std::string& name = snapid.empty() ? server.snapshot_name : snapid;
  if (name.empty()) {
    log.error("The snapshots of this backup stay: the host gave no snapshot id. AAPI_Errno = %d",
              static_cast<int>(azurestackpi::kInvalidArgument));
    return azurestackpi::kInvalidArgument;
  }
  return azurestackpi::azurestack_delete_snapshots(server, selections, name);
}

Status OnlyReturning(const char* function) {
  return RunEntryPoint({function, nullptr}, {}, [](const FunctionLog&) { return azurestackpi::kOk; });
}

Status OnlyEntering(const char* function) {
  return RunEntryPoint({function, "Entering", EntryFrame::Leave::kSilent}, {},
                       [](const FunctionLog&) { return azurestackpi::kOk; });
}

// However a recovery ends, the machine is forgotten, so that a second try begins anew.
Status RecoverVm(const FunctionLog& log, const aapi_server_t& server, const char* path) {
  log.detail("Starting VM Recovery");
  std::string vm_path;
  azurestackpi::azurestackpi_get_vmpath(path, vm_path);
  const Status status = azurestackpi::Guarded(
      log, [&](const FunctionLog&) { return azurestackpi::azurestackpi_recover_vm(server, vm_path); });
  if (status != azurestackpi::kOk) {
    *recovery_failed = true;
    log.error("Failed to recover VM : status = %d : %s", static_cast<int>(status),
              azurestackpi::StatusText(status).c_str());
  }
  azurestackpi::azurestackpi_delete_recovery_map_entry(vm_path);
  return status;
}

}  // namespace

extern "C" {

std::uint32_t azurestackpi_discovery_v1(aapi_server_t* server, const char* selections, const char* proxyclients,
                                        const char* wkldoutdir, const char* outfilesuffix, const char* schedtype,
                                        const char* snapid) {
  return RunEntryPoint({__func__, nullptr}, {server, selections}, [&](const FunctionLog& log) {
    const SnapshotCleanup cleanup = ReadCleanupPolicy(log);
    log.flow("enter: %s", selections);
    if (cleanup == SnapshotCleanup::kDeleteBeforeBackup) {
      // A failure is told there; what could not be deleted does not stand in the way of new snapshots.
      static_cast<void>(azurestackpi::azurestack_delete_snapshots(*server, selections, ""));
    }
    if (server->session_kind != AAPI_SESSION_RESTORE) {
      // A backup of what is found now must not begin with how the machines were at the last one.
      azurestackpi::ForgetMachines();
    }
    azurestackpi::AzureDiskSnapshots snapshots;
    return azurestackpi::azurestackpi_impl_discovery(*server,
                                                     {selections, getValue(proxyclients), getValue(wkldoutdir),
                                                      getValue(outfilesuffix), getValue(schedtype), getValue(snapid)},
                                                     snapshots);
  });
}

std::uint32_t azurestackpi_preprocess_v1(aapi_server_t* /*server*/, const char* /*selections*/) {
  return OnlyReturning(__func__);
}

std::uint32_t azurestackpi_postprocess_v1(aapi_server_t* server, const char* selections, const char* snapid) {
  return RunEntryPoint({__func__}, {server, selections}, [&](const FunctionLog& log) -> Status {
    const SnapshotCleanup cleanup = ReadCleanupPolicy(log);
    std::string in_discovery;
    static_cast<void>(AzureStackPi_Config::getInstance().GetConfVal("VM_SNAPSHOT_IN_DISCOVERY", in_discovery));
    log.flow("VM Snapshot done in Discovery: %s", in_discovery.c_str());
    Status of_this_backup = azurestackpi::kOk;
    if (azurestackpi::IsYes(in_discovery)) {
      of_this_backup = DeleteSnapshotsOfBackup(log, *server, selections, getValue(snapid));
    }
    Status of_stale_ones = azurestackpi::kOk;
    if (cleanup == SnapshotCleanup::kDeleteAfterBackup) {
      of_stale_ones = azurestackpi::azurestack_delete_snapshots(*server, selections, "");
    }
    return of_this_backup != azurestackpi::kOk ? of_this_backup : of_stale_ones;
  });
}

std::uint32_t azurestackpi_restore_preprocess_v1(aapi_server_t* /*server*/) { return OnlyReturning(__func__); }

std::uint32_t azurestackpi_restore_postprocess_v1() {
  return RunEntryPoint({__func__, nullptr}, {}, [](const FunctionLog&) -> Status {
    return *recovery_failed ? azurestackpi::kOperationFailed : azurestackpi::kOk;
  });
}

std::uint32_t azurestackpi_set_object_utimes_v1(aapi_server_t* server, const char* path) {
  return RunEntryPoint(
      {__func__, "entering", EntryFrame::Leave::kSilent}, {server, path}, [&](const FunctionLog& log) -> Status {
        log.flow("path=%s", path);
        const bool last = azurestackpi::azurestackpi_is_last_metafile(path);
        const Status status = last ? RecoverVm(log, *server, path) : static_cast<Status>(azurestackpi::kOk);
        log.flow("returning");
        return status;
      });
}

std::uint32_t azurestackpi_recovery_preprocess_v1(aapi_server_t* /*server*/) { return OnlyEntering(__func__); }
std::uint32_t azurestackpi_recovery_postprocess_v1(aapi_server_t* /*server*/) { return OnlyEntering(__func__); }
std::uint32_t azurestackpi_get_app_metadata_v1(aapi_server_t* /*server*/) { return OnlyEntering(__func__); }
std::uint32_t azurestackpi_set_lastbackup_meta_v1(aapi_server_t* /*server*/) { return OnlyEntering(__func__); }

}  // extern "C"
