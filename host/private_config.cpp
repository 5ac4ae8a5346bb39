#include "host/private_config.h"

#include <array>
#include <cerrno>
#include <system_error>

#include "host/child_streams.h"
#include "host/errors.h"
#include "host/given_file.h"

namespace host {

namespace {

void append_file(int target, const std::string& path) {
  const FileDescriptor source = open_given_file(path);
  std::array<char, 16384> piece;
  while (true) {
    const ssize_t count = ::read(source.get(), piece.data(), piece.size());
    if (count == 0) return;
    if (count > 0) {
      write_all(target, piece.data(), static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      throw UsageError(path + " cannot be read: " + std::generic_category().message(errno));
    }
  }
}

}  // namespace

PrivateConfig::PrivateConfig(const std::string& settings, const std::string& original)
    : copy_(memory_file("azsbackup-configuration")) {
  write_all(copy_.get(), settings.data(), settings.size());
  if (!original.empty()) append_file(copy_.get(), original);
}

std::string PrivateConfig::path() const { return "/proc/self/fd/" + std::to_string(copy_.get()); }

}  // namespace host
