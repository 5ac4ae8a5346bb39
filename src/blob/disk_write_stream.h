// Writing into the page blob of a disk, gathered into blocks of 4 MiB.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "src/base/status.h"
#include "storage/streams.h"

namespace azurestackpi {

/// Room of the cache, and the size of the blocks that the service gets.
inline constexpr std::size_t kStreamCache = 4194304;

/// A disk that is open for writing. For one thread at a time.
struct disk_write_stream {
  /// Without a stream yet. Throws std::bad_alloc.
  disk_write_stream();

  std::unique_ptr<azurestoragewrapper::write_stream> stream;
  std::unique_ptr<std::byte[]> cache;
  std::size_t cache_length = 0;  // bytes held and not handed on
};

// None of these lets an exception out. A context belongs to the caller from OpenWriteStream to a CloseWriteStream that
// returns 0; one that cannot be closed may be closed again, or deleted.

/// Creates the blob at uri with that size in bytes and opens it at offset 0. Sets *context, to null for a failure.
/// Returns 0, the status of GetConnection, or 6622, for a blob that is there already too.
Status OpenWriteStream(const std::string& uri, std::uint64_t size, disk_write_stream** context);

/// Takes bytes into the cache and hands the cache on when it is full. Returns 0 with count bytes taken; 6622 when the
/// service did not take the block, which stays cached, count bytes of the source in it; 6601 and nothing taken for more
/// than the cache can pass on at once, its free room and 4 MiB.
Status Write(disk_write_stream* context, const void* source, std::size_t size, std::size_t& count);

/// Hands on what is cached. Returns 0; or 6622, the bytes still cached.
Status FlushWriteStream(disk_write_stream* context);

/// Sets the place of what is handed on next, cached bytes included: flush first. Returns 0, also for a failure, which
/// the log tells.
Status SeekWriteStream(disk_write_stream* context, std::uint64_t offset);

/// Returns once the service has stored all that was handed on. Cached bytes are dropped. Returns 0 and sets the pointer
/// to null; or 6622, the context left.
Status CloseWriteStream(disk_write_stream** context);

}  // namespace azurestackpi
