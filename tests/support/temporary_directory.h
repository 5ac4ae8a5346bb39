// A directory of its own for one test, removed with all that is in it.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace test_support {

class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  std::string path(const std::string& name) const { return (root_ / name).string(); }

  /// Writes a file with that mode and returns its path.
  std::string write_file(const std::string& name, const std::string& bytes, mode_t mode = 0600) const;

 private:
  std::filesystem::path root_;
};

}  // namespace test_support
