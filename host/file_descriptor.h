// Owner of one file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace host {

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  ~FileDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  int get() const { return descriptor_; }
  bool valid() const { return descriptor_ >= 0; }

  /// Closes it before its time.
  void close() { const FileDescriptor gone = std::move(*this); }

 private:
  int descriptor_ = -1;
};

/// Writes all of the bytes; throws std::system_error when the system takes no more.
void write_all(int descriptor, const char* data, std::size_t size);

/// Opens /dev/null in place of each of the descriptors 0 to 2 that is closed, so that no later file becomes one of
/// them.
void fill_standard_descriptors();

}  // namespace host
