// Objects of the plug-in, looked at and read through its table.
#pragma once

#include <aapi/aapi.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/session.h"

namespace host {

/// A call of the plug-in that did not give 0. The text says what failed and what the status means.
class StatusError : public std::runtime_error {
 public:
  StatusError(const std::string& what, std::uint32_t status);
  std::uint32_t status() const { return status_; }

 private:
  std::uint32_t status_;
};

struct ObjectFacts {
  bool is_file = false;
  std::uint64_t size = 0;  // bytes
};

/// Names the backup's snapshots to the plug-in and asks for the object's properties. For a disk that exports its
/// snapshot; for the object that names the kind of a machine's disks it takes the snapshots. Throws StatusError.
ObjectFacts query_object(const Server& server, const std::string& snapshot_name, const std::string& path);

/// Takes back what the query of a disk did that is not going to be opened: its export is revoked, its snapshot deleted.
void release_disk(const Server& server, const std::string& snapshot_name, const std::string& path) noexcept;

/// An object opened for one pass from its first byte to its last. Closing a disk revokes its export, so it is closed on
/// every way out.
class OpenObject {
 public:
  /// Throws StatusError. The server must outlive the object.
  OpenObject(const Server& server, const std::string& path);
  ~OpenObject();
  OpenObject(const OpenObject&) = delete;
  OpenObject& operator=(const OpenObject&) = delete;

  /// The next bytes, valid until the next call, at most limit of them; none at the end. Throws StatusError.
  std::string_view read(std::size_t limit);

  /// Throws StatusError.
  void close();

 private:
  const Server& server_;
  std::string path_;
  aapi_object_t* object_ = nullptr;
  std::uint64_t offset_ = 0;
  std::vector<char> buffer_;
};

}  // namespace host
