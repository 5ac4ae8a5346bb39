// Objects of the plug-in that are given back in a restore.
#pragma once

#include <aapi/aapi.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/session.h"

namespace host {

/// Asks for the properties of an object that is going to be created, which tells the plug-in of it: a metadata object's
/// value is taken, a disk's target checked. Throws StatusError unless the plug-in says that there is none yet.
void announce_object(const Server& server, const std::string& path);

/// An object written in one pass from its first byte to its last. Closed before its end, whatever was made of it is
/// taken back, so it is closed on every way out.
class CreatedObject {
 public:
  /// Throws StatusError. The server must outlive the object.
  CreatedObject(const Server& server, const std::string& path);
  ~CreatedObject();
  CreatedObject(const CreatedObject&) = delete;
  CreatedObject& operator=(const CreatedObject&) = delete;

  /// Throws StatusError.
  void write(const char* data, std::size_t size);

  /// All is written; throws StatusError when the object could not be made of it.
  void close();

 private:
  const Server& server_;
  std::string path_;
  aapi_object_t* object_ = nullptr;
  std::uint64_t offset_ = 0;
};

}  // namespace host
