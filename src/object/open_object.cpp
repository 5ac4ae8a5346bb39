#include "src/object/open_object.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <functional>
#include <set>
#include <utility>
#include <vector>

#include "src/base/process_state.h"
#include "src/blob/disk_snapshots.h"
#include "src/blob/page_blob_snapshots.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"
#include "src/object/restored_object.h"
#include "src/object/vm_configuration.h"
#include "src/object/vm_disk_snapshots.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

constexpr std::size_t kDiskSlashes = 6;

ProcessValue<std::set<aapi_object_s*, std::less<>>> open_objects("objects that hosts have open");

// What a path names for a host that wants to open or create it.
enum class Kind { kMetadata, kDisk, kInvalid, kNone };

Kind KindOf(const std::string& path) {
  if (azurestackpi_is_metafile(path)) {
    return Kind::kMetadata;
  }
  const std::size_t slashes = CountSlashes(path);
  if (slashes > kDiskSlashes) {
    return Kind::kInvalid;
  }
  return slashes == kDiskSlashes && !azurestackpi_is_metapath(path) ? Kind::kDisk : Kind::kNone;
}

Status Refuse(Kind kind) {
  return kind == Kind::kInvalid ? static_cast<Status>(kInvalidArgument) : static_cast<Status>(kInvalidObject);
}

// A stream whose page ranges could not be had is closed again: its image would lack the disk's data.
Status OpenImage(aapi_object_s& object, const std::string& address) {
  disk_read_stream* context = nullptr;
  const Status status =
      OpenReadStream(address, object.backup_time, kSnapshotTag, &context, object.server, object.is_managed);
  std::unique_ptr<disk_read_stream> stream(context);
  if (status == kOk) {
    object.image.emplace(std::move(stream));
  } else if (stream) {
    static_cast<void>(DiskImageReader(std::move(stream)).Close());
  }
  return status;
}

Status OpenExport(const FunctionLog& log, aapi_object_s& object) {
  Status status = kOperationFailed;
  try {
    status = OpenImage(object, object.exported->address());
    if (status == kOk) {
      log.flow("OpenReadStream for %s successful", object.path.c_str());
    }
    return status;
  } catch (const std::exception& error) {
    log.exception("Exception thrown: %s", error.what());
  } catch (...) {
    log.exception("Unknown exception");
  }
  log.flow("OpenReadStream for %s failed", object.path.c_str());
  return kStreamOpenFailed;
}

Status azurestackpi_managed_disk_open_object(aapi_object_s& object, bool& is_managed) {
  const FunctionLog log(__func__);
  is_managed = false;
  if (object.path.empty()) {
    log.error("Empty path specified");
    return kInvalidArgument;
  }
  const auto entry = vm_managed_disk_map().find(object.path);
  if (entry == vm_managed_disk_map().end()) {
    return kOk;
  }
  is_managed = object.is_managed = true;
  const vm_managed_disk_t& disk = entry->second;
  log.flow("Found managed disk %s for path %s", disk.m_disk_id.c_str(), object.path.c_str());
  object.exported = TakeUnusedExport(object.path, disk.m_extra2);
  if (!object.exported) {
    log.error("Snapshot %s is not in exported state", disk.m_extra2.c_str());
    return kNotExported;
  }
  object.backup_time = object.exported->grant().backup_time;
  return OpenExport(log, object);
}

Status OpenVhd(const FunctionLog& log, aapi_object_s& object) {
  std::string uri;
  if (const Status status = azurestackpi_get_vhd(object.path, uri); status != kOk) {
    return status;
  }
  log.detail("VHD_URI: %s", uri.c_str());
  if (IsBeingRead(object.path)) {
    // The first of two to be read to its end would delete the other's snapshot.
    log.error("%s is open already. AAPI_Errno = %d", object.path.c_str(), static_cast<int>(kServerBusy));
    return kServerBusy;
  }
  return OpenImage(object, uri);
}

Status OpenDisk(const FunctionLog& log, aapi_object_s& object) {
  if (const Status status = RequireBackupTime(log, *object.server, object.path); status != kOk) {
    return status;
  }
  bool is_managed = false;
  const Status status = azurestackpi_managed_disk_open_object(object, is_managed);
  return is_managed || status != kOk ? status : OpenVhd(log, object);
}

Status ReadMetadata(const FunctionLog& log, const aapi_object_s& object, char* buffer, std::uint64_t length,
                    std::uint64_t offset, std::uint64_t& bytes_read) {
  std::string data;
  if (const Status status = azurestackpi_get_vm_details(object.path, *object.server, data); status != kOk) {
    return status;
  }
  const std::string part = offset < data.size() ? data.substr(offset, length) : std::string();
  log.detail("DEBUG : VM config backup, size = %d, str = %s", static_cast<int>(part.size()), part.c_str());
  std::memcpy(buffer, part.c_str(), part.size() + 1);
  bytes_read = part.size();
  return kOk;
}

void ReleaseVhd(const FunctionLog& log, const aapi_object_s& object) {
  std::string uri;
  if (azurestackpi_get_vhd(object.path, uri) != kOk) {
    return;
  }
  const Status status = DeleteSnapshot(uri, object.backup_time, kSnapshotTag, send_keepalive_callback);
  if (status != kOk) {
    log.error("The backup's snapshot of %s stays: it could not be deleted. rc : %d", uri.c_str(),
              static_cast<int>(status));
  }
}

}  // namespace
}  // namespace azurestackpi

aapi_object_s::aapi_object_s() { azurestackpi::open_objects->insert(this); }
aapi_object_s::~aapi_object_s() { azurestackpi::open_objects->erase(this); }

namespace azurestackpi {

Status OpenObject(const FunctionLog& log, aapi_pgn_server_handle_s& server, const std::string& path,
                  std::unique_ptr<aapi_object_s>& object) {
  const std::string object_path = WithoutEndSlash(path);
  const bool restore = server.session_kind == AAPI_SESSION_RESTORE;
  // A restore's requests are JSON, in which another name could not stand.
  const Kind kind = restore && !IsJsonText(path) ? Kind::kInvalid : KindOf(object_path);
  if (kind != Kind::kMetadata && kind != Kind::kDisk) {
    log.error("Invalid path: %s", path.c_str());
    return Refuse(kind);
  }
  auto opened = std::make_unique<aapi_object_s>();
  opened->server = &server;
  opened->path = object_path;
  opened->is_restored = restore;
  opened->backup_time = server.snapshot_name;
  if (kind == Kind::kDisk) {
    const Status status = opened->is_restored ? OpenRestoredDisk(log, *opened) : OpenDisk(log, *opened);
    if (status != kOk) {
      return status;
    }
  }
  object = std::move(opened);
  return kOk;
}

Status CreateObject(const FunctionLog& log, aapi_pgn_server_handle_s& server, const std::string& path,
                    std::unique_ptr<aapi_object_s>& object) {
  if (server.session_kind != AAPI_SESSION_RESTORE) {
    log.error("%s cannot be created in a backup", path.c_str());
    return Refuse(KindOf(WithoutEndSlash(path)));
  }
  log.flow("Restore Session");
  return OpenObject(log, server, path, object);
}

Status azurestackpi_impl_read_object(aapi_object_s& object, void* buffer, std::uint64_t length, std::uint64_t offset,
                                     std::uint64_t& bytes_read) {
  const FunctionLog log(__func__);
  log.detail("length: %u, offset: %u, path: %s", static_cast<unsigned>(length), static_cast<unsigned>(offset),
             object.path.c_str());
  bytes_read = 0;
  if (object.is_restored) {
    log.error("%s is open for writing", object.path.c_str());
    return kInvalidObject;
  }
  if (!object.image) {
    return ReadMetadata(log, object, static_cast<char*>(buffer), length, offset, bytes_read);
  }
  const Status status = object.image->Read(log, buffer, length, bytes_read);
  if (status == kOk) {
    log.flow("Leaving, rc = %d, bytesRead = %lu", static_cast<int>(status), static_cast<unsigned long>(bytes_read));
  }
  return status;
}

Status azurestackpi_impl_write_object(aapi_object_s& object, const void* buffer, std::uint64_t length,
                                      std::uint64_t offset, std::uint64_t& bytes_written) {
  const FunctionLog log(__func__);
  bytes_written = 0;
  if (!object.is_restored) {
    log.error("%s is open for reading", object.path.c_str());
    return kInvalidObject;
  }
  if (!object.writer) {
    return WriteRestoredMetadata(log, object.path, {static_cast<const char*>(buffer), length}, offset, bytes_written);
  }
  return object.writer->Write(log, buffer, length, bytes_written);
}

Status CloseObject(const FunctionLog& log, aapi_object_s& object) {
  if (object.writer) {
    return CloseRestoredDisk(log, object);
  }
  if (!object.image) {
    return kOk;
  }
  const bool complete = object.image->AtEnd();
  const Status status = object.image->Close();
  if (object.exported) {
    static_cast<void>(complete ? object.exported->DeleteSnapshot() : object.exported->Revoke());
  } else if (complete) {
    ReleaseVhd(log, object);
  }
  return status;
}

bool IsBeingRead(const std::string& path) {
  return std::any_of(open_objects->begin(), open_objects->end(),
                     [&](const aapi_object_s* object) { return object->image && object->path == path; });
}

bool IsOpenObject(const aapi_object_s* object) { return open_objects->find(object) != open_objects->end(); }

void ReleaseObjectsOf(const FunctionLog& log, const aapi_pgn_server_handle_s& server) {
  std::vector<std::unique_ptr<aapi_object_s>> left;
  for (aapi_object_s* const object : *open_objects) {
    if (object->server == &server) {
      left.emplace_back(object);
    }
  }
  for (const std::unique_ptr<aapi_object_s>& object : left) {
    log.error("%s is still open at the close of its server", object->path.c_str());
    if (object->exported) {
      object->exported->Keep();
    }
    if (object->writer) {
      object->writer->Abandon(log);
    }
  }
}

}  // namespace azurestackpi
