// The id of a backup, which names its snapshots: whoever clears up after a backup deletes all of that name.
#pragma once

#include <string>

#include "host/file_descriptor.h"

namespace host {

/// The current second, or the first one after it that no other backup of this machine has: several that a scheduler
/// starts at once keep out of each other's snapshots. Held as long as this lives.
class BackupId {
 public:
  /// Throws std::system_error.
  BackupId();

  /// Seconds since the epoch, as decimal text.
  const std::string& text() const { return text_; }

 private:
  FileDescriptor claim_;
  std::string text_;
};

}  // namespace host
