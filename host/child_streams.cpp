#include "host/child_streams.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace host {

namespace {

constexpr int pipe_size = 1 << 20;

[[noreturn]] void fail_system(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

}  // namespace

Pipe make_pipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) fail_system("cannot make a pipe");
  Pipe pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
  ::fcntl(ends[1], F_SETPIPE_SZ, pipe_size);  // a larger pipe means fewer switches; the usual size works as well
  return pipe;
}

FileDescriptor memory_file(const char* name) {
  FileDescriptor file(::memfd_create(name, MFD_CLOEXEC));
  if (!file.valid() || ::fchmod(file.get(), S_IRUSR | S_IWUSR) != 0) fail_system("cannot make a file in memory");
  return file;
}

FileDescriptor null_input() {
  FileDescriptor file(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (!file.valid()) fail_system("cannot open /dev/null");
  return file;
}

std::string content(const FileDescriptor& file) {
  std::string text;
  std::array<char, 16384> piece;
  while (true) {
    const ssize_t count = ::pread(file.get(), piece.data(), piece.size(), static_cast<off_t>(text.size()));
    if (count < 0) fail_system("cannot read a program's output");
    if (count == 0) return text;
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
}

}  // namespace host
