// A folder of its own for one test, removed with all that is in it.
#pragma once

#include <filesystem>
#include <string>

namespace host_test {

class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string path(const std::string& name) const { return (root_ / name).string(); }
  /// Writes a file (mode 0600) and returns its path.
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::filesystem::path root_;
};

std::string read_file(const std::string& path);

}  // namespace host_test
