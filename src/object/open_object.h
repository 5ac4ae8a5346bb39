// An object that a host has open: a metadata object, or a disk's snapshot that is read as one stream.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "src/base/logging.h"
#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/object/disk_image_reader.h"

/// Made by open_object, owned by the host until close_object, which comes before the server's close_server.
struct aapi_object_s {
  aapi_pgn_server_handle_s* server = nullptr;  // not owned
  std::string path;                            // without a slash at a disk's end
  std::string backup_time;                     // the server's snapshot name at the open
  std::string access_address;                  // of a managed disk's export
  bool is_managed = false;
  std::optional<azurestackpi::DiskImageReader> image;  // none: a metadata object
};

namespace azurestackpi {

/// Opens the object at path. Returns 0 with the object; 6609 for a path that is no object with data; 6601 for one of
/// more than six slashes, or a disk before the backup's time is known; 6781 for a managed disk whose export was revoked
/// or never made; 6613 when there is no snapshot; 6782 after an exception; 2 when the snapshot cannot be read. In a
/// restore 6614, which is not there yet, in place of an object.
Status OpenObject(const FunctionLog& log, aapi_pgn_server_handle_s& server, const std::string& path,
                  std::unique_ptr<aapi_object_s>& object);

/// Refuses in a backup. Returns 6601 for a path of more than six slashes; 6609; 6614 in a restore, which is not there
/// yet.
Status CreateObject(const aapi_pgn_server_handle_s& server, const std::string& path);

/// Reads from the object as one flat stream; offset counts for metadata objects only, whose data get a zero byte behind
/// them. Returns 0, bytes_read less than length at the end; the status of FindVmDetails; or that of
/// DiskImageReader::Read.
Status azurestackpi_impl_read_object(aapi_object_s& object, void* buffer, std::uint64_t length, std::uint64_t offset,
                                     std::uint64_t& bytes_read);

/// Ends the reading; of a managed disk also the export. The snapshot of a disk that was read to its end is deleted, any
/// other kept for another try; what cannot be deleted or revoked is told in the log only. Returns the status of the
/// stream's end.
Status CloseObject(const FunctionLog& log, aapi_object_s& object);

}  // namespace azurestackpi
