// Entry points of objects: open, create, read, write, properties, listings.
#include <memory>
#include <new>

#include "src/api/entry_frame.h"
#include "src/api/entry_points.h"
#include "src/base/server_handle.h"
#include "src/model/azurestack_storagekeys.h"
#include "src/object/object_properties.h"
#include "src/object/open_object.h"

using azurestackpi::EntryFrame;
using azurestackpi::FunctionLog;
using azurestackpi::Guarded;
using azurestackpi::RunEntryPoint;
using azurestackpi::Status;

// A listing. It has no entries: objects are reached through discovery and by name.
struct aapi_object_list_s {
  aapi_server_t* server;
  std::uint32_t position;
  std::uint32_t count;
  std::uint32_t flags;
};

namespace {

bool CheckOpen(const FunctionLog& log, const aapi_object_t* object) {
  const bool open = azurestackpi::IsOpenObject(object);
  if (!open) {
    log.error("The object is not open. AAPI_Errno = %d", static_cast<int>(azurestackpi::kInvalidArgument));
  }
  return open;
}

// An entry point on an object that the host has open; 6601 for one that it has not: closed, with its server too.
template <typename Body>
Status RunOnObject(const EntryFrame& frame, const aapi_object_t* object, std::initializer_list<const void*> required,
                   Body&& body) {
  return RunEntryPoint(frame, required, [&](const FunctionLog& log) -> Status {
    return CheckOpen(log, object) ? body(log) : azurestackpi::kInvalidArgument;
  });
}

// query: fills info for the object at path and returns a status.
template <typename Query>
Status azurestackpi_get_object_prop(const FunctionLog& log, const char* path, const aapi_object_info_v1_t& info,
                                    Query query) {
  log.detail("pathname: %s", path);
  const Status status = query();
  if (status != azurestackpi::kOk) {
    log.error("azurestackpi_get_object_metadata failed, returning rc: %d", static_cast<int>(status));
    return status;
  }
  log.detail("file size: %lu. exiting", static_cast<unsigned long>(info.size));
  return status;
}

}  // namespace

extern "C" {

std::uint32_t azurestackpi_open_object_v1(aapi_server_t* server, const char* path, std::uint32_t /*flags*/,
                                          aapi_object_t** out) {
  return RunEntryPoint({__func__}, {server, path, out}, [&](const FunctionLog& log) {
    *out = nullptr;
    log.detail("pathname: %s", path);
    std::unique_ptr<aapi_object_s> object;
    const Status status = azurestackpi::OpenObject(log, *server, path, object);
    *out = object.release();
    return status;
  });
}

std::uint32_t azurestackpi_close_object_v1(aapi_object_t* object) {
  return RunOnObject({__func__}, object, {object}, [&](const FunctionLog& log) {
    const std::unique_ptr<aapi_object_s> owned(object);
    return azurestackpi::CloseObject(log, *owned);
  });
}

std::uint32_t azurestackpi_create_object_v1(aapi_server_t* server, const char* path,
                                            const aapi_object_info_v1_t* /*info*/, aapi_object_t** out) {
  return RunEntryPoint({__func__}, {server, path, out}, [&](const FunctionLog& log) {
    *out = nullptr;
    log.detail("pathname: %s", path);
    std::unique_ptr<aapi_object_s> object;
    const Status status = azurestackpi::CreateObject(log, *server, path, object);
    *out = object.release();
    return status;
  });
}

std::uint32_t azurestackpi_delete_object_v1(aapi_server_t* server, const char* /*path*/) {
  return RunEntryPoint({__func__, nullptr, EntryFrame::Leave::kDetail}, {server},
                       [](const FunctionLog&) { return azurestackpi::kOk; });
}

std::uint32_t azurestackpi_read_object_v1(aapi_object_t* object, void* buffer, std::uint64_t length,
                                          std::uint64_t offset, std::uint64_t* bytes_read) {
  return RunEntryPoint(
      {__func__, "Entering", EntryFrame::Leave::kSilent}, {object, buffer, bytes_read}, [&](const FunctionLog& log) {
        *bytes_read = 0;
        const Status status = Guarded(log, [&](const FunctionLog&) -> Status {
          return CheckOpen(log, object)
                     ? azurestackpi::azurestackpi_impl_read_object(*object, buffer, length, offset, *bytes_read)
                     : azurestackpi::kInvalidArgument;
        });
        log.flow("returning rc: %d, bytesRead: %lu", static_cast<int>(status), static_cast<unsigned long>(*bytes_read));
        return status;
      });
}

std::uint32_t azurestackpi_read_object_meta_v1(aapi_object_t* object, void* buffer, std::uint64_t* length) {
  return azurestackpi::AnyNull({object, buffer, length}) ? azurestackpi::kInvalidArgument : azurestackpi::kOk;
}

std::uint32_t azurestackpi_write_object_v1(aapi_object_t* object, const void* buffer, std::uint64_t length,
                                           std::uint64_t offset, std::uint64_t* bytes_written) {
  return RunEntryPoint(
      {__func__, nullptr, EntryFrame::Leave::kOnFailure}, {object, buffer, bytes_written},
      [&](const FunctionLog& log) -> Status {
        *bytes_written = 0;
        log.detail("lenght: %lu, offset: %lu", static_cast<unsigned long>(length), static_cast<unsigned long>(offset));
        if (length == 0) {
          log.error("invalid length: %lu. AAPI_Errno = %d", static_cast<unsigned long>(length),
                    static_cast<int>(azurestackpi::kInvalidArgument));
          return azurestackpi::kInvalidArgument;
        }
        return CheckOpen(log, object)
                   ? azurestackpi::azurestackpi_impl_write_object(*object, buffer, length, offset, *bytes_written)
                   : azurestackpi::kInvalidArgument;
      });
}

std::uint32_t azurestackpi_write_object_meta_v1(aapi_object_t* object, const void* buffer,
                                                const std::uint64_t* length) {
  return azurestackpi::AnyNull({object, buffer, length}) ? azurestackpi::kInvalidArgument : azurestackpi::kOk;
}

std::uint32_t azurestackpi_flush_v1(aapi_object_t* object) {
  return object == nullptr ? azurestackpi::kInvalidArgument : azurestackpi::kOk;
}

std::uint32_t azurestackpi_get_object_prop_v1(aapi_object_t* object, aapi_object_info_v1_t* out) {
  return RunOnObject({__func__}, object, {object, out}, [&](const FunctionLog& log) {
    return azurestackpi_get_object_prop(log, object->path.c_str(), *out,
                                        [&] { return azurestackpi::GetOpenObjectProperties(*object, *out); });
  });
}

std::uint32_t azurestackpi_get_object_prop_byname_v1(aapi_server_t* server, const char* path,
                                                     aapi_object_info_v1_t* out) {
  return RunEntryPoint({__func__, nullptr}, {server, path, out}, [&](const FunctionLog& log) -> Status {
    log.flow("enter: pathname: %s", path);
    if (const Status status = azurestackpi::azurestack_storagekeys::createInstance(server);
        status != azurestackpi::kOk) {
      return status;
    }
    return azurestackpi_get_object_prop(
        log, path, *out, [&] { return azurestackpi::azurestackpi_get_object_metadata(path, *out, *server); });
  });
}

std::uint32_t azurestackpi_open_object_list_v1(aapi_server_t* server, const char* path, std::uint32_t flags,
                                               aapi_object_list_t** out) {
  return RunEntryPoint({__func__}, {server, path, out}, [&](const FunctionLog& log) -> Status {
    *out = new (std::nothrow) aapi_object_list_s{server, 0, 0, flags};
    if (*out == nullptr) {
      log.error("memory allocation failed");
      return azurestackpi::kOutOfMemory;
    }
    return azurestackpi::kOk;
  });
}

std::uint32_t azurestackpi_list_object_v1(aapi_object_list_t* list, aapi_object_info_v1_t* out) {
  return RunEntryPoint({__func__}, {list, out}, [&](const FunctionLog& log) -> Status {
    if (list->server == nullptr) {
      return azurestackpi::kInvalidArgument;
    }
    if (list->position < list->count) {
      *out = aapi_object_info_v1_t{};
      return azurestackpi::kOk;
    }
    log.error("no more entries");
    return azurestackpi::kNoMoreEntries;
  });
}

std::uint32_t azurestackpi_close_object_list_v1(aapi_object_list_t* list) {
  return RunEntryPoint({__func__}, {list}, [&](const FunctionLog&) {
    const std::unique_ptr<aapi_object_list_s> owned(list);
    return azurestackpi::kOk;
  });
}

}  // extern "C"
