#include "sim/private_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace sim {
namespace {

[[noreturn]] void fail(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

/// A file of a new name next to its later place, 0600 from its first moment; removed again unless it was put there.
class NewFile {
 public:
  explicit NewFile(const std::filesystem::path& place)
      : name_(place.string() + ".XXXXXX"), descriptor_(mkstemp(name_.data())) {
    if (descriptor_ < 0) fail(place.string());
  }
  ~NewFile() {
    close(descriptor_);
    if (!name_.empty()) unlink(name_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void write(std::string_view contents) {
    while (!contents.empty()) {
      const ssize_t written = ::write(descriptor_, contents.data(), contents.size());
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) fail(name_);
      contents.remove_prefix(static_cast<std::size_t>(written));
    }
  }

  void put_in_place(const std::filesystem::path& place) {
    std::filesystem::rename(name_, place);
    name_.clear();
  }

 private:
  std::string name_;
  int descriptor_;
};

}  // namespace

void write_private_file(const std::filesystem::path& file, std::string_view contents) {
  NewFile fresh(file);
  fresh.write(contents);
  fresh.put_in_place(file);
}

TemporaryDirectory::TemporaryDirectory() {
  std::string name = (std::filesystem::temp_directory_path() / "azurestack-sim-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) fail(name);
  path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;  // nothing useful can be done about a directory that stays
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace sim
