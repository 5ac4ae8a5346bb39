#include "host/text_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/errors.h"
#include "host/file_descriptor.h"

namespace host {

namespace {

[[noreturn]] void fail(const std::string& path) {
  throw std::system_error(errno, std::generic_category(), "cannot write " + path);
}

/// Gone at the end unless it has got its name.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& path) : path_(path + ".XXXXXX"), file_(::mkstemp(path_.data())) {
    if (!file_.valid()) fail(path);
  }
  ~TemporaryFile() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  void write(std::string_view text) const {
    while (!text.empty()) {
      const ssize_t count = ::write(file_.get(), text.data(), text.size());
      if (count < 0 && errno != EINTR) fail(path_);
      if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  void name(const std::string& path) {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    const bool named = ::fchmod(file_.get(), 0666 & ~mask) == 0 && ::fsync(file_.get()) == 0 &&
                       ::rename(path_.c_str(), path.c_str()) == 0;
    if (!named) fail(path);
    path_.clear();
  }

 private:
  std::string path_;
  FileDescriptor file_;
};

}  // namespace

void replace_file(const std::string& path, const std::string& text) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    throw UsageError(path + " is no regular file and is not replaced");
  }
  TemporaryFile file(path);
  file.write(text);
  file.name(path);
}

}  // namespace host
