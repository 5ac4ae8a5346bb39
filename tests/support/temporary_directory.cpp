#include "tests/support/temporary_directory.h"

#include <fstream>
#include <stdexcept>

namespace test_support {

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "azurestackpi-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("no temporary directory under " + pattern);
  }
  root_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

std::string TemporaryDirectory::write_file(const std::string& name, const std::string& bytes, mode_t mode) const {
  std::string file = path(name);
  std::ofstream(file, std::ios::binary) << bytes;
  std::filesystem::permissions(file, static_cast<std::filesystem::perms>(mode));
  return file;
}

}  // namespace test_support
