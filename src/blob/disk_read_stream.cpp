#include "src/blob/disk_read_stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "src/base/logging.h"
#include "src/blob/page_blob_snapshots.h"
#include "src/blob/storage_failure.h"

namespace azurestackpi {
namespace {

SnapshotRef FindSnapshot(const std::string& path, const std::string& snapid, const std::string& snapkey,
                         const aapi_pgn_server_handle_s* server, bool managed) {
  SnapshotRef snapshot;
  if (managed) {
    static_cast<void>(FetchManagedDiskSnapshot(server, path, send_keepalive_callback, snapshot));
  } else {
    static_cast<void>(FetchOrCreateSnapshot(path, snapid, snapkey, send_keepalive_callback, true, false, snapshot));
  }
  return snapshot;
}

// The context stands in opened also when the page ranges could not be had, whose status is returned then.
Status OpenSnapshot(const FunctionLog& log, SnapshotRef snapshot, std::unique_ptr<disk_read_stream>& opened) {
  if (!snapshot) {
    return kNoMoreEntries;
  }
  LogBlobFacts(log, *snapshot);
  DiskLayout layout;
  const Status status = DownloadPageRanges(*snapshot, layout);
  if (status != kOk) {
    log.error("Failed to download page ranges for %s", snapshot->snapshot_qualified_primary_uri().c_str());
  }
  auto context = std::make_unique<disk_read_stream>(std::move(layout));
  context->stream = snapshot->open_read(context->layout.ranges);
  opened = std::move(context);
  destroySnapshotReference(snapshot);
  return status;
}

// Up to size bytes from the buffer.
std::size_t TakeBuffered(disk_read_stream& context, std::byte* destination, std::size_t size) {
  const std::size_t taken = std::min(size, context.buffered);
  if (taken != 0) {
    std::memcpy(destination, context.cursor, taken);
  }
  context.cursor += taken;
  context.buffered -= taken;
  return taken;
}

// Reads size bytes in as many calls as the stream needs; returns how many came before its end.
std::size_t ReadFully(disk_read_stream& context, void* destination, std::size_t size) {
  std::size_t received = 0;
  while (received < size) {
    const std::size_t count = azurestoragewrapper::ReadStream(*context.stream, destination, size, received);
    if (count == 0) {
      break;
    }
    received += count;
  }
  return received;
}

// Reads the next block of the range: its beginning, up to size bytes, to the destination, what is more into the buffer.
Status Refill(const FunctionLog& log, disk_read_stream& context, std::byte* destination, std::size_t size,
              std::uint64_t remaining, std::size_t& count) {
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(remaining, kStreamBuffer));
  const std::size_t direct = std::min(size, wanted);
  log.error("ReadAhead Size: %lu", static_cast<unsigned long>(wanted));
  return CatchStorageFailures(log, {}, [&]() -> Status {
    std::size_t received = ReadFully(context, destination, direct);
    if (received == direct) {
      received += ReadFully(context, context.buffer.get(), wanted - direct);
    }
    if (received < wanted) {
      log.error("bytes read is not equal to readahead size. br = %lu, readahead_size = %lu",
                static_cast<unsigned long>(received), static_cast<unsigned long>(wanted));
      return kInternalError;
    }
    context.cursor = context.buffer.get();
    context.buffered = wanted - direct;
    count += direct;
    return kOk;
  });
}

Status ReadDirectly(const FunctionLog& log, disk_read_stream& context, void* destination, std::size_t size,
                    std::size_t& count) {
  log.detail("Inside try block");
  const std::size_t received = ReadFully(context, destination, size);
  if (received < size) {
    log.error("bytes read is not equal to buffersize. size. br = %lu, buffersize= %lu",
              static_cast<unsigned long>(received), static_cast<unsigned long>(size));
    return kInternalError;
  }
  count = size;
  return kOk;
}

}  // namespace

disk_read_stream::disk_read_stream(DiskLayout layout_of_disk)
    : layout(std::move(layout_of_disk)),
      buffer(std::make_unique_for_overwrite<std::byte[]>(kStreamBuffer)),
      cursor(buffer.get()) {}

Status OpenReadStream(const std::string& path, const std::string& snapid, const std::string& snapkey,
                      disk_read_stream** context, const aapi_pgn_server_handle_s* server, bool managed) {
  const FunctionLog log(__func__);
  log.detail("Entering: snapid: %s, snapkey: %s", snapid.c_str(), snapkey.c_str());
  std::unique_ptr<disk_read_stream> opened;
  const Status status = CatchStorageFailures(log, {kNotFoundYet, kNotFoundYet}, [&] {
    return OpenSnapshot(log, FindSnapshot(path, snapid, snapkey, server, managed), opened);
  });
  *context = opened.release();
  log.detail("Leaving: rc = %d, stream_ctx: %p", static_cast<int>(status), static_cast<void*>(*context));
  return status;
}

Status ReadAhead(disk_read_stream* context, void* destination, std::size_t size, std::uint64_t remaining,
                 std::size_t& count) {
  const FunctionLog log(__func__);
  count = 0;
  if (size > kStreamBuffer) {
    return kInvalidArgument;
  }
  auto* const begin = static_cast<std::byte*>(destination);
  count = TakeBuffered(*context, begin, size);
  remaining -= std::min<std::uint64_t>(remaining, count);
  if (count == size || remaining == 0) {
    return kOk;
  }
  return Refill(log, *context, begin + count, size - count, remaining, count);
}

Status Read(disk_read_stream* context, void* destination, std::size_t size, std::size_t& count) {
  const FunctionLog log(__func__);
  count = 0;
  const Status status =
      CatchStorageFailures(log, {}, [&] { return ReadDirectly(log, *context, destination, size, count); });
  log.flow("Leaving: rc = %d", static_cast<int>(status));
  return status;
}

Status SeekReadStream(disk_read_stream* context, std::uint64_t offset) {
  const FunctionLog log(__func__);
  return CatchStorageFailures(log, {}, [&] {
    // A reader that leaves a range before its end must not get the rest of it at its new place.
    context->buffered = 0;
    azurestoragewrapper::SeekIStream(*context->stream, offset);
    return kOk;
  });
}

Status CloseReadStream(disk_read_stream** context) {
  const FunctionLog log(__func__);
  if (context == nullptr || *context == nullptr) {
    return kOk;
  }
  const Status status = CatchStorageFailures(log, {kInternalError, kNotFoundYet}, [&] {
    azurestoragewrapper::CloseIStream(*(*context)->stream);
    return kOk;
  });
  if (status == kOk) {
    const std::unique_ptr<disk_read_stream> closed(std::exchange(*context, nullptr));
  }
  return status;
}

}  // namespace azurestackpi
