// The host's log: one line per entry, appended to a file that only its owner can read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/file_descriptor.h"

namespace host {

class LogFile {
 public:
  /// Opens the file for appending and creates it (mode 0600) and its folder (0700) when missing; an existing file of
  /// ours that others can read is closed to them. verbosity 0 writes levels 4 and 5, 1 adds level 3, 2 and more write
  /// all. Throws UsageError when the path is a symbolic link, belongs to another user or cannot be opened.
  LogFile(const std::string& path, int verbosity);

  /// Appends "TIME PID LEVEL text"; control characters are escaped. A line that cannot be written is lost: a full disk
  /// under the log must not end a backup.
  void write(std::uint32_t level, std::string_view text) noexcept;

  const std::string& path() const { return path_; }
  int descriptor() const { return file_.get(); }

 private:
  std::string path_;
  std::uint32_t lowest_level_;
  FileDescriptor file_;
};

/// $XDG_STATE_HOME/azsbackup/azsbackup.log, else the same below $HOME/.local/state. Throws UsageError when neither
/// variable is set.
std::string default_log_path();

}  // namespace host
