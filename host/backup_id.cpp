#include "host/backup_id.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <ctime>
#include <system_error>

namespace host {

namespace {

// A socket's name in the abstract namespace is a claim that ends with the process, however that ends, and that needs no
// folder which all users can write to.
bool take_name(const FileDescriptor& socket, const std::string& name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  name.copy(address.sun_path + 1, sizeof address.sun_path - 1);
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), size) == 0) return true;
  if (errno == EADDRINUSE) return false;
  throw std::system_error(errno, std::generic_category(), "cannot claim an id for the backup");
}

}  // namespace

BackupId::BackupId() : claim_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  if (!claim_.valid()) throw std::system_error(errno, std::generic_category(), "cannot claim an id for the backup");
  std::time_t second = std::time(nullptr);
  while (!take_name(claim_, "azsbackup/" + std::to_string(second))) ++second;
  text_ = std::to_string(second);
}

}  // namespace host
