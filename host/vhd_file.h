// A disk as a file: sparse, private, and there under its name only when it is whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/file_descriptor.h"

namespace host {

class VhdFile {
 public:
  /// Makes a file of size bytes, all of them holes, mode 0600, beside path. Throws UsageError when path is taken,
  /// std::system_error, as do the others.
  VhdFile(std::string path, std::uint64_t size);
  /// Removes what has not got its name.
  ~VhdFile();
  VhdFile(const VhdFile&) = delete;
  VhdFile& operator=(const VhdFile&) = delete;

  void write(std::uint64_t offset, const char* data, std::size_t size);

  /// Why the file is no fixed VHD: its last 512 bytes are no footer that fits it. Empty: it is one.
  std::string footer_problem() const;

  /// Stores it durably and gives it its name; throws UsageError when that was taken in the meantime.
  void finish();

 private:
  std::string path_;
  std::string temporary_path_;
  std::uint64_t size_;
  FileDescriptor file_;
};

}  // namespace host
