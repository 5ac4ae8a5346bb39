// The data of a disk's snapshot, read through a buffer that asks the service for 4 MiB at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/blob/disk_layout.h"
#include "storage/streams.h"

namespace azurestackpi {

/// Longest request that ReadAhead takes, and the room of its buffer.
inline constexpr std::size_t kStreamBuffer = 4194304;

/// A disk that is open for reading. For one thread at a time.
struct disk_read_stream {
  /// Without a stream yet. Throws std::bad_alloc.
  explicit disk_read_stream(DiskLayout layout_of_disk = {});

  DiskLayout layout;  // in front of the stream, which reads its ranges
  std::unique_ptr<azurestoragewrapper::read_stream> stream;
  std::unique_ptr<std::byte[]> buffer;
  const std::byte* cursor;   // the next unread byte in the buffer
  std::size_t buffered = 0;  // unread bytes from there on
};

// None of these lets an exception out. A context belongs to the caller from OpenReadStream to a CloseReadStream that
// returns 0; one that cannot be closed may be closed again, or deleted.

/// Opens the snapshot of a backup: for an unmanaged disk path is the blob's address and the snapshot is taken when
/// there is none; for a managed one path is the shared-access address of its export. Sets *context, to null when there
/// is no stream: 6613 without a snapshot, 2 for any other failure. With 2 and a context, only the page ranges could not
/// be had.
Status OpenReadStream(const std::string& path, const std::string& snapid, const std::string& snapkey,
                      disk_read_stream** context, const aapi_pgn_server_handle_s* server, bool managed);

/// Reads size bytes in order. remaining: bytes left of the valid range from the reader's place on; the buffer never
/// holds more than those. Returns 0 with the bytes delivered in count; 6601 for a size beyond the buffer, nothing read
/// then; 6622.
Status ReadAhead(disk_read_stream* context, void* destination, std::size_t size, std::uint64_t remaining,
                 std::size_t& count);

/// Reads size bytes past the buffer. Returns 0 or 6622.
Status Read(disk_read_stream* context, void* destination, std::size_t size, std::size_t& count);

/// Returns 0 or 6622.
Status SeekReadStream(disk_read_stream* context, std::uint64_t offset);

/// Returns 0 and sets the pointer to null; 6622, or 2 for an exception that is not the storage client's, and leaves the
/// context.
Status CloseReadStream(disk_read_stream** context);

}  // namespace azurestackpi
