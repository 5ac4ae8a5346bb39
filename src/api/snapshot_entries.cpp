// Entry points of one disk's snapshot, and of the paths inside one.
#include <cstring>
#include <string>

#include "platform/bounded_text.h"
#include "src/api/entry_frame.h"
#include "src/api/entry_points.h"
#include "src/base/server_handle.h"
#include "src/object/vm_disk_snapshots.h"

using azurestackpi::EntryFrame;
using azurestackpi::FunctionLog;
using azurestackpi::RunEntryPoint;
using azurestackpi::Status;

namespace {

constexpr std::size_t kLongestSnapshotName = 511;

Status Unsupported(const char* function, const aapi_server_t* server) {
  return RunEntryPoint({function, "enter", EntryFrame::Leave::kSilent}, {server}, [](const FunctionLog& log) {
    log.flow("exit");
    return azurestackpi::kNotSupported;
  });
}

// A snapshot shows a disk under the disk's own path, so paths pass through unchanged.
void CopyPath(const FunctionLog& log, const char* path, char* out, std::uint64_t out_size) {
  if (V_strlcpy(out, path, out_size) >= out_size) {
    log.error("The path %s is cut to the %lu bytes that the host has room for", path,
              static_cast<unsigned long>(out_size));
  }
}

const char* Shown(const char* text) { return text == nullptr ? "(null)" : text; }

}  // namespace

extern "C" {

std::uint32_t azurestackpi_allow_snapshot_v1(aapi_server_t* server, const char* /*path*/) {
  return Unsupported(__func__, server);
}

std::uint32_t azurestackpi_disallow_snapshot_v1(aapi_server_t* server, const char* /*path*/) {
  return Unsupported(__func__, server);
}

std::uint32_t azurestackpi_create_snapshot_v1(aapi_server_t* server, const char* path, aapi_snapshot_v1_t* out) {
  return RunEntryPoint({__func__}, {server, path, out},
                       [&](const FunctionLog&) { return azurestackpi::CreateSnapshotOfDisk(*server, path, *out); });
}

std::uint32_t azurestackpi_delete_snapshot_v1(aapi_server_t* server, const char* path,
                                              const aapi_snapshot_v1_t* snapshot) {
  return RunEntryPoint({__func__}, {server, path, snapshot}, [&](const FunctionLog&) {
    const std::string name(snapshot->name, strnlen(snapshot->name, sizeof(snapshot->name)));
    return azurestackpi::DeleteSnapshotOfDisk(*server, path, name);
  });
}

std::uint32_t azurestackpi_rename_snapshot_v1(aapi_server_t* server, const char* /*path*/, const char* /*from*/,
                                              const char* /*to*/) {
  return Unsupported(__func__, server);
}

std::uint32_t azurestackpi_get_snapshot_diff_v1(aapi_server_t* server, const char* /*path*/, const char* /*from*/,
                                                const char* /*to*/) {
  return Unsupported(__func__, server);
}

std::uint32_t azurestackpi_get_realpath_from_snappath_v1(aapi_server_t* server, const char* /*snapshot_name*/,
                                                         const char* snapshot_path, char* out, std::uint64_t out_size) {
  return RunEntryPoint({__func__}, {server, snapshot_path, out}, [&](const FunctionLog& log) {
    CopyPath(log, snapshot_path, out, out_size);
    return azurestackpi::kOk;
  });
}

std::uint32_t azurestackpi_get_snappath_from_realpath_v1(aapi_server_t* server, const char* snapshot_name,
                                                         const char* real_path, char* out, std::uint64_t out_size) {
  return RunEntryPoint({__func__, nullptr}, {}, [&](const FunctionLog& log) -> Status {
    log.flow("enter: snapname: %s, realpath: %s", Shown(snapshot_name), Shown(real_path));
    if (azurestackpi::AnyNull({server, snapshot_name, real_path, out})) {
      return azurestackpi::kInvalidArgument;
    }
    if (std::strlen(snapshot_name) > kLongestSnapshotName) {
      // What is cut could be another backup's.
      log.error("The snapshot name is longer than %zu bytes. AAPI_Errno = %d", kLongestSnapshotName,
                static_cast<int>(azurestackpi::kInvalidArgument));
      return azurestackpi::kInvalidArgument;
    }
    CopyPath(log, real_path, out, out_size);
    server->snapshot_name = snapshot_name;
    log.flow("Leaving, snappath:%s", out_size == 0 ? "" : out);
    return azurestackpi::kOk;
  });
}

}  // extern "C"
