#include "host/login.h"

#include <aapi/aapi.h>
#include <fcntl.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "host/errors.h"
#include "host/file_descriptor.h"

namespace host {

namespace {

constexpr std::size_t longest_login = sizeof(aapi_credentials_v1_t::text) - 1;
// Enough to see that a password is too long, and no more of a file that was named by mistake.
constexpr std::size_t longest_read = longest_login + 3;

using Buffer = std::array<char, longest_read>;

struct Wipe {
  Buffer& buffer;
  ~Wipe() { explicit_bzero(buffer.data(), buffer.size()); }
};

// Reads up to the end or until the buffer is full.
std::string read_some(int descriptor, const std::string& origin) {
  Buffer buffer{};
  const Wipe wipe{buffer};
  std::size_t length = 0;
  while (length < buffer.size()) {
    const ssize_t got = ::read(descriptor, buffer.data() + length, buffer.size() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw UsageError(origin + " cannot be read: " + std::generic_category().message(errno));
    if (got == 0) break;
    length += static_cast<std::size_t>(got);
  }
  return {buffer.data(), length};
}

std::string read_file(const std::string& path) {
  const std::string origin = "the password file " + path;
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.valid()) throw UsageError(origin + " cannot be opened: " + std::generic_category().message(errno));
  return read_some(file.get(), origin);
}

std::string read_command(const std::string& command) {
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "re"), &::pclose);  // NOLINT(cert-env33-c)
  if (!pipe) throw UsageError("the password command cannot be started");
  std::string text = read_some(::fileno(pipe.get()), "the password command's output");
  const int result = ::pclose(pipe.release());
  if (WIFEXITED(result) && WEXITSTATUS(result) == 0) return text;
  const Secret unused(std::move(text));
  throw UsageError(WIFEXITED(result)
                       ? "the password command ended with exit code " + std::to_string(WEXITSTATUS(result))
                       : "the password command was ended by a signal, or printed more than a password");
}

void drop_line_end(std::string& text) {
  if (!text.empty() && text.back() == '\n') text.pop_back();
  if (!text.empty() && text.back() == '\r') text.pop_back();
}

void check_user(const std::string& user) {
  if (user.find_first_of(std::string_view(":\n\r\0", 4)) != std::string::npos) {
    throw UsageError("the user name holds a colon, a line end or a zero byte");
  }
}

void check_password(const Secret& password, std::size_t user_length) {
  const std::string& text = password.reveal();
  if (text.empty()) throw UsageError("the password is empty");
  if (user_length + 1 + text.size() > longest_login) {
    throw UsageError("user name and password are together over " + std::to_string(longest_login) + " bytes");
  }
  if (text.find_first_of(std::string_view("\n\r\0", 3)) != std::string::npos) {
    throw UsageError("the password holds a line end or a zero byte; only one line end after it is allowed");
  }
}

Secret read_password(const LoginSource& source) {
  std::string text =
      source.password_file.empty() ? read_command(source.password_command) : read_file(source.password_file);
  drop_line_end(text);
  return Secret(std::move(text));
}

}  // namespace

Secret read_login(const LoginSource& source) {
  if (source.user.empty()) return {};
  if (source.password_file.empty() && source.password_command.empty()) {
    throw UsageError("--user needs --password-file or --password-command");
  }
  check_user(source.user);
  const Secret password = read_password(source);
  check_password(password, source.user.size());
  return Secret(source.user + ":" + password.reveal());
}

}  // namespace host
