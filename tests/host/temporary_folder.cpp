#include "tests/host/temporary_folder.h"

#include <stdlib.h>

#include <cerrno>
#include <fstream>
#include <sstream>
#include <system_error>

namespace host_test {

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "azsbackup-test-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), "mkdtemp");
  root_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& content) const {
  std::string file = path(name);
  std::ofstream(file, std::ios::binary) << content;
  std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  return file;
}

std::string read_file(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace host_test
