#include "src/blob/managed_disk_snapshots.h"

#include <exception>

#include "src/base/logging.h"
#include "src/blob/azurestack_md.h"
#include "src/config/rest_server.h"

namespace azurestackpi {
namespace {

struct Wording {
  const char* prepared;  // what the server's endpoints are for
  const char* done;
};

template <typename Work>
Status WithEndpoints(const FunctionLog& log, const aapi_pgn_server_handle_s* server, const Wording& wording,
                     Work work) {
  azs_rest_server_s rest;
  if (const Status status = InitRestServerHandle(server, rest); status != kOk) {
    log.error("Unable to initialize rest server handle for %s of managed disk. ret: %d ", wording.prepared,
              static_cast<int>(status));
    return status;
  }
  const Status status = work(rest);
  if (status == kOk) {
    log.flow("%s for managed disk successful. ret: %d ", wording.done, static_cast<int>(status));
  } else {
    log.error("%s for managed disk failed. ret: %d ", wording.done, static_cast<int>(status));
  }
  return status;
}

// Runs work(endpoints of the server) and tells how it ended.
template <typename Work>
Status RunCall(const char* function, const aapi_pgn_server_handle_s* server, const Wording& wording,
               Work work) noexcept {
  const FunctionLog log(function);
  try {
    return WithEndpoints(log, server, wording, work);
  } catch (const std::exception& error) {
    log.exception("Exception thrown: %s", error.what());
  } catch (...) {
    log.exception("Unknown exception");
  }
  return kInternalError;
}

void PassHttpStatus(const azurestackMD& call, long* http_status) {
  if (http_status != nullptr) {
    *http_status = call.HttpStatus();
  }
}

}  // namespace

extern "C" {

Status CreateManagedDiskSnapshot(const aapi_pgn_server_handle_s* server, const char* snapshot_name, const char* tag,
                                 vm_managed_disk_t& disk, std::string* async_url, EBlockType block_type) noexcept {
  return RunCall(__func__, server, {"create snapshot", "Create snapshot"}, [&](const azs_rest_server_s& rest) {
    return azurestackMD(rest, disk, snapshot_name, tag).CreateSnapshot(async_url, block_type);
  });
}

Status CheckifSnapshotComplete(const aapi_pgn_server_handle_s* server, vm_managed_disk_t& disk) noexcept {
  return RunCall(__func__, server, {"export snapshot", "Snapshot"}, [&](const azs_rest_server_s& rest) {
    return azurestackMD(rest, disk, nullptr, nullptr).CheckSnapshotStatus();
  });
}

Status ExportManagedDiskSnapshot(const aapi_pgn_server_handle_s* server, const char* snapshot_name, const char* tag,
                                 vm_managed_disk_t& disk, std::string& sas_uri, long* http_status) noexcept {
  const Status status =
      RunCall(__func__, server, {"export snapshot", "Export snapshot"}, [&](const azs_rest_server_s& rest) {
        azurestackMD call(rest, disk, snapshot_name, tag);
        const Status exported = call.ExportSnapshot(sas_uri);
        PassHttpStatus(call, http_status);
        return exported;
      });
  if (status == kOk) {
    FunctionLog(__func__).flow("SAS URI <%s>", sas_uri.c_str());
  }
  return status;
}

Status CancelExportManagedDiskSnapshot(const aapi_pgn_server_handle_s* server, const char* snapshot_name,
                                       const char* tag, vm_managed_disk_t& disk, long* http_status) noexcept {
  return RunCall(__func__, server, {"cancel export snapshot", "Cancel export snapshot"},
                 [&](const azs_rest_server_s& rest) {
                   azurestackMD call(rest, disk, snapshot_name, tag);
                   const Status canceled = call.CancelExportSnapshot();
                   PassHttpStatus(call, http_status);
                   return canceled;
                 });
}

Status DeleteManagedDiskSnapshot(const aapi_pgn_server_handle_s* server, const char* snapshot_name, const char* tag,
                                 vm_managed_disk_t& disk) noexcept {
  return RunCall(__func__, server, {"delete snapshot", "Delete snapshot"}, [&](const azs_rest_server_s& rest) {
    return azurestackMD(rest, disk, snapshot_name, tag).DeleteSnapshot();
  });
}

Status GetALLManagedDiskSnapshots(const aapi_pgn_server_handle_s* server, const std::string& subscription,
                                  const std::string& snapshot_name, std::vector<std::string>& ids) noexcept {
  return RunCall(__func__, server, {"create snapshot", "List snapshot"}, [&](const azs_rest_server_s& rest) {
    return azurestackMD(rest).GetALLMDSnapshots(subscription, snapshot_name, ids);
  });
}

}  // extern "C"

}  // namespace azurestackpi
