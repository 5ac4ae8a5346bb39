// An object that a host has open: a metadata object, or a disk that is read or written as one stream.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "src/base/logging.h"
#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/blob/md_metadata.h"
#include "src/object/disk_export.h"
#include "src/object/disk_image_reader.h"
#include "src/object/disk_image_writer.h"

/// Made by open_object or create_object, owned by the host until close_object or the server's close_server.
struct aapi_object_s {
  aapi_object_s();
  ~aapi_object_s();
  aapi_object_s(const aapi_object_s&) = delete;
  aapi_object_s& operator=(const aapi_object_s&) = delete;

  aapi_pgn_server_handle_s* server = nullptr;  // not owned
  std::string path;                            // without a slash at a disk's end
  bool is_managed = false;                     // a managed disk
  bool is_restored = false;                    // of a restore session: written, not read

  // Of a disk that is read.
  std::string backup_time;                             // names the snapshot
  std::unique_ptr<azurestackpi::DiskExport> exported;  // of a managed disk
  std::optional<azurestackpi::DiskImageReader> image;  // none: not such a disk

  // Of a disk that is written.
  std::optional<azurestackpi::DiskImageWriter> writer;  // none: not such a disk
  azurestackpi::md_metadata target;                     // of a managed one
};

namespace azurestackpi {

/// Opens the object at path, for reading in a backup and for writing in a restore. Returns 0 with the object; 6609 for
/// a path that is no object with data; 6601 for one of more than six slashes, or a disk of a backup whose time is not
/// known; 6781 for a managed disk whose export was revoked, never made or taken by an earlier open; 6612 for an
/// unmanaged one that is open already; 6613 when there is no snapshot; 6782 after an exception; 2 when the snapshot
/// cannot be read; in a restore the status of OpenRestoredDisk.
Status OpenObject(const FunctionLog& log, aapi_pgn_server_handle_s& server, const std::string& path,
                  std::unique_ptr<aapi_object_s>& object);

/// The same in a restore. A backup creates nothing: 6601 for a path of more than six slashes, else 6609.
Status CreateObject(const FunctionLog& log, aapi_pgn_server_handle_s& server, const std::string& path,
                    std::unique_ptr<aapi_object_s>& object);

/// Reads from the object as one flat stream; offset counts for metadata objects only, whose data get a zero byte behind
/// them. Returns 0, bytes_read less than length at the end; 6609 in a restore; the status of FindVmDetails; or that of
/// DiskImageReader::Read.
Status azurestackpi_impl_read_object(aapi_object_s& object, void* buffer, std::uint64_t length, std::uint64_t offset,
                                     std::uint64_t& bytes_read);

/// Writes to the object as one flat stream; offset counts for metadata objects only: at 0 their data begin anew.
/// Returns 0; 6609 in a backup; or the status of DiskImageWriter::Write.
Status azurestackpi_impl_write_object(aapi_object_s& object, const void* buffer, std::uint64_t length,
                                      std::uint64_t offset, std::uint64_t& bytes_written);

/// Ends the reading; of a managed disk also the export. The snapshot of a disk that was read to its end is deleted, any
/// other kept for another try; what cannot be deleted or revoked is told in the log only. Returns the status of the
/// stream's end. Of a disk that was written: the status of CloseRestoredDisk.
Status CloseObject(const FunctionLog& log, aapi_object_s& object);

/// Whether the disk at path is open for reading.
bool IsBeingRead(const std::string& path);

/// Whether the pointer is of an object that is open. Nothing of it is looked at.
bool IsOpenObject(const aapi_object_s* object);

/// Frees the server's objects that a host left open: snapshots stay for another try, exports are left for
/// RevokeAllUnusedExports, what was being written ends as at a close, but no disk is made of it.
void ReleaseObjectsOf(const FunctionLog& log, const aapi_pgn_server_handle_s& server);

}  // namespace azurestackpi
