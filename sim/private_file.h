// Files that hold secrets.
#pragma once

#include <filesystem>
#include <string_view>

namespace sim {

/// Puts the file in place whole and with access for its owner alone (0600), replacing one of the same name.
/// Throws std::system_error.
void write_private_file(const std::filesystem::path& file, std::string_view contents);

/// A directory of its own (0700) under the system's directory for temporary files, removed with all its contents at
/// the end.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace sim
