#include "src/blob/disk_write_stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "src/base/logging.h"
#include "src/blob/page_blob_connection.h"
#include "src/blob/storage_failure.h"
#include "storage/page_blob.h"

namespace azurestackpi {
namespace {

unsigned long Shown(std::uint64_t number) { return number; }

// Up to the cache's free room.
std::size_t Cache(disk_write_stream& context, const std::byte* source, std::size_t size) {
  const std::size_t taken = std::min(size, kStreamCache - context.cache_length);
  if (taken != 0) {
    std::memcpy(context.cache.get() + context.cache_length, source, taken);
  }
  context.cache_length += taken;
  return taken;
}

Status HandOn(const FunctionLog& log, disk_write_stream& context) {
  return CatchStorageFailures(log, {}, [&]() -> Status {
    const std::size_t written =
        azurestoragewrapper::WriteStream(*context.stream, context.cache.get(), context.cache_length);
    if (written < context.cache_length) {
      log.error("bytes written is not equal to m_cache_len. bw = %lu, m_cache_len = %lu", Shown(written),
                Shown(context.cache_length));
      return kInternalError;
    }
    context.cache_length = 0;
    return kOk;
  });
}

}  // namespace

disk_write_stream::disk_write_stream() : cache(std::make_unique_for_overwrite<std::byte[]>(kStreamCache)) {}

Status OpenWriteStream(const std::string& uri, std::uint64_t size, disk_write_stream** context) {
  const FunctionLog log(__func__);
  log.detail("Entering: vhduri: %s, size: %lu", uri.c_str(), Shown(size));
  *context = nullptr;
  azurestackpi_connection connection;
  if (const Status status = GetConnection(uri, &connection); status != kOk) {
    log.detail("Leaving, rc : %d", static_cast<int>(status));
    return status;
  }
  return CatchStorageFailures(log, {}, [&] {
    // First what may lack memory: a blob that was made for nothing would stay.
    auto opened = std::make_unique<disk_write_stream>();
    azurestoragewrapper::page_blob blob(connection.m_connection_string, connection.m_container_name,
                                        connection.m_vhd_name, size, StorageOptions(send_keepalive_callback));
    log.detail("Page blob object created , rc :");
    opened->stream = blob.open_write();
    *context = opened.release();
    return kOk;
  });
}

Status Write(disk_write_stream* context, const void* source, std::size_t size, std::size_t& count) {
  const FunctionLog log(__func__);
  count = 0;
  const std::size_t room = kStreamCache - context->cache_length;
  if (size > room + kStreamCache) {
    log.error("%lu bytes are more than one call can take", Shown(size));
    return kInvalidArgument;
  }
  const auto* const begin = static_cast<const std::byte*>(source);
  count = Cache(*context, begin, size);
  if (context->cache_length == kStreamCache) {
    log.detail("Calling Flush");
    if (const Status status = HandOn(log, *context); status != kOk) {
      return status;
    }
  }
  count += Cache(*context, begin + count, size - count);
  return kOk;
}

Status FlushWriteStream(disk_write_stream* context) {
  const FunctionLog log(__func__);
  log.detail("Entering: m_cache_len: %lu", Shown(context->cache_length));
  return context->cache_length == 0 ? kOk : HandOn(log, *context);
}

Status SeekWriteStream(disk_write_stream* context, std::uint64_t offset) {
  const FunctionLog log(__func__);
  if (context != nullptr && context->stream) {
    static_cast<void>(CatchStorageFailures(log, {}, [&] {
      azurestoragewrapper::SeekWStream(*context->stream, offset);
      return kOk;
    }));
  }
  return kOk;
}

Status CloseWriteStream(disk_write_stream** context) {
  const FunctionLog log(__func__);
  if (context == nullptr || *context == nullptr || !(*context)->stream) {
    return kOk;
  }
  const Status status = CatchStorageFailures(log, {}, [&] {
    azurestoragewrapper::CloseWStream(*(*context)->stream);
    return kOk;
  });
  if (status == kOk) {
    const std::unique_ptr<disk_write_stream> closed(std::exchange(*context, nullptr));
  }
  return status;
}

}  // namespace azurestackpi
