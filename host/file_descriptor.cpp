#include "host/file_descriptor.h"

#include <fcntl.h>

#include <cerrno>
#include <system_error>

namespace host {

void write_all(int descriptor, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(descriptor, data, size);
    if (written < 0) {
      if (errno == EINTR) continue;
      throw std::system_error(errno, std::generic_category(), "cannot write");
    }
    data += written;
    size -= static_cast<std::size_t>(written);
  }
}

void fill_standard_descriptors() {
  int opened = 0;
  do {
    opened = ::open("/dev/null", O_RDWR);
  } while (opened >= 0 && opened <= STDERR_FILENO);
  const FileDescriptor surplus(opened);
}

}  // namespace host
