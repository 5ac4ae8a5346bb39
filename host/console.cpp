#include "host/console.h"

#include <fcntl.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace host {

namespace {

FileDescriptor move_aside(int descriptor) {
  FileDescriptor copy(::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!copy.valid()) throw std::system_error(errno, std::generic_category(), "cannot keep an output descriptor");
  return copy;
}

}  // namespace

Console::Console(int log_descriptor) : output_(move_aside(STDOUT_FILENO)), error_(move_aside(STDERR_FILENO)) {
  static_cast<void>(std::fflush(nullptr));  // what is still buffered belongs to the old descriptors
  for (const int standard : {STDOUT_FILENO, STDERR_FILENO}) {
    if (::dup2(log_descriptor, standard) < 0) {
      throw std::system_error(errno, std::generic_category(), "cannot redirect an output descriptor");
    }
  }
}

Console::~Console() {
  static_cast<void>(std::fflush(nullptr));  // what the plug-in left in stdio's buffers belongs to the log file
  ::dup2(output_.get(), STDOUT_FILENO);
  ::dup2(error_.get(), STDERR_FILENO);
}

void Console::print(std::string_view text) const { write_all(output_.get(), text.data(), text.size()); }

void Console::print_error(std::string_view text) const { write_all(error_.get(), text.data(), text.size()); }

bool Console::error_is_terminal() const { return ::isatty(error_.get()) == 1; }

std::size_t Console::error_width() const {
  constexpr std::size_t usual = 80;
  winsize size{};
  return ::ioctl(error_.get(), TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : usual;
}

}  // namespace host
