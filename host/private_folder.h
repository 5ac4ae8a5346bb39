// A new and empty folder that only its owner can enter (mode 0700).
#pragma once

#include <string>

namespace host {

class PrivateFolder {
 public:
  /// Makes keep, which must not exist yet and stays; when it is empty a folder below $TMPDIR (or /tmp), which is
  /// removed with all that is in it at the end. Throws UsageError.
  explicit PrivateFolder(const std::string& keep);
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
  bool keep_;
};

}  // namespace host
