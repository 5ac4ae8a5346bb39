// The workload-file functions that the library exports to hosts; the scanner writes through them too.
#include "aapi/wkldfile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "platform/bounded_text.h"
#include "src/base/logging.h"

using azurestackpi::FunctionLog;

namespace {

constexpr std::uint64_t kNumber = sizeof(std::uint64_t);
constexpr mode_t kOwnerOnly = 0600;

static_assert(WKLDFILE_LONGEST_DATA == WKLDFILE_BUFFER_SIZE - kNumber);

bool Tagged(std::uint32_t tag_flag) { return (tag_flag & 0xffffU) != 0; }

std::uint64_t HeadSize(std::uint32_t tag_flag) { return Tagged(tag_flag) ? 2 * kNumber : kNumber; }

wkldfile_handle_s* OpenHandle(const char* path, int flags) {
  if (path == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  std::unique_ptr<wkldfile_handle_s> handle(new (std::nothrow) wkldfile_handle_s{});
  if (!handle) {
    errno = ENOMEM;
    return nullptr;
  }
  V_strlcpy(handle->path, path, sizeof(handle->path));
  handle->fd = open(path, flags | O_CLOEXEC, kOwnerOnly);
  return handle->fd < 0 ? nullptr : handle.release();
}

void Put(wkldfile_handle_s& handle, const void* bytes, std::uint64_t count) {
  std::memcpy(handle.cursor, bytes, count);
  handle.cursor += count;
  handle.room -= count;
}

void Take(wkldfile_handle_s& handle, void* bytes, std::uint64_t count) {
  std::memcpy(bytes, handle.cursor, count);
  handle.cursor += count;
  handle.room -= count;
}

int Flush(wkldfile_handle_s& handle) {
  const std::uint64_t filled = sizeof(handle.buffer) - handle.room;
  const ssize_t written = write(handle.fd, handle.buffer, filled);
  if (written < 0) {
    return errno;
  }
  const auto moved = static_cast<std::uint64_t>(written);
  if (moved < filled) {
    FunctionLog("wkldfile_write_record")
        .error("Only %lu of %lu bytes written to %s", static_cast<unsigned long>(moved),
               static_cast<unsigned long>(filled), handle.path);
  }
  handle.total += moved;
  handle.room = sizeof(handle.buffer);
  handle.cursor = handle.buffer;
  return 0;
}

// One read behind the unread bytes, which move to the start of the buffer. 0, WKLDFILE_END or an errno value.
int Refill(wkldfile_handle_s& handle) {
  if (handle.room != 0) {
    std::memmove(handle.buffer, handle.cursor, handle.room);
  }
  handle.cursor = handle.buffer;
  const ssize_t count = read(handle.fd, handle.buffer + handle.room, sizeof(handle.buffer) - handle.room);
  if (count < 0) {
    return errno;
  }
  FunctionLog("wkldfile_read_record")
      .detail("Reading from file: %s total bytes: %lu", handle.path, static_cast<unsigned long>(count));
  if (count == 0) {
    return WKLDFILE_END;
  }
  handle.total += static_cast<std::uint64_t>(count);
  handle.room += static_cast<std::uint64_t>(count);
  return 0;
}

// Refills until so many bytes are unread; they must fit into the buffer.
int Require(wkldfile_handle_s& handle, std::uint64_t count) {
  int result = 0;
  while (result == 0 && handle.room < count) {
    result = Refill(handle);
  }
  return result;
}

}  // namespace

extern "C" {

wkldfile_handle_s* create_wkld_file(const char* path) { return OpenHandle(path, O_RDWR | O_CREAT); }

wkldfile_handle_s* open_wkld_file(const char* path) { return OpenHandle(path, O_RDONLY); }

int close_wkld_file(wkldfile_handle_s* handle) {
  const std::unique_ptr<wkldfile_handle_s> owned(handle);
  return owned ? close(owned->fd) : 0;
}

int delete_wkld_file(const char* path) {
  if (path == nullptr) {
    errno = EINVAL;
    return -1;
  }
  return unlink(path);
}

int wkldfile_write_record(wkldfile_handle_s* handle, const char* text, uint64_t tag, uint32_t tag_flag) {
  if (handle == nullptr || handle->room > sizeof(handle->buffer)) {
    return EINVAL;
  }
  if (text == nullptr) {
    return Flush(*handle);
  }
  const std::uint64_t length = std::strlen(text) + 1;
  const std::uint64_t needed = HeadSize(tag_flag) + length;
  if (needed > sizeof(handle->buffer)) {
    return EMSGSIZE;
  }
  if (handle->room < needed) {
    if (const int failure = Flush(*handle); failure != 0) {
      return failure;
    }
  }
  if (Tagged(tag_flag)) {
    Put(*handle, &tag, sizeof(tag));
  }
  Put(*handle, &length, sizeof(length));
  Put(*handle, text, length);
  return 0;
}

int wkldfile_read_record(wkldfile_handle_s* handle, wkldfile_record_s* record, uint32_t tag_flag) {
  if (handle == nullptr || record == nullptr || handle->room > sizeof(handle->buffer)) {
    return EINVAL;
  }
  if (const int result = Require(*handle, HeadSize(tag_flag)); result != 0) {
    return result;
  }
  if (Tagged(tag_flag)) {
    Take(*handle, &record->tag, sizeof(record->tag));
  }
  Take(*handle, &record->length, sizeof(record->length));
  if (record->length == 0 || record->length > WKLDFILE_LONGEST_DATA) {
    return EBADMSG;
  }
  if (const int result = Require(*handle, record->length); result != 0) {
    return result;
  }
  if (handle->cursor[record->length - 1] != '\0') {
    return EBADMSG;
  }
  Take(*handle, record->data, record->length);
  return 0;
}

}  // extern "C"
