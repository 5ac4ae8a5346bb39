// The operator's configuration with settings of the host's own in front, for one session of the plug-in.
#pragma once

#include <string>

#include "host/file_descriptor.h"

namespace host {

/// The copy is a file in memory, mode 0600: a configuration may hold secrets, and a host that is killed leaves nothing
/// of it behind.
class PrivateConfig {
 public:
  /// settings: lines "KEY=VALUE", each with its line end. They win over the operator's, because of two equal keys the
  /// plug-in takes the first. original: the operator's file; an empty path: there is none. Throws UsageError when it
  /// cannot be read, std::system_error when there is no memory for the copy.
  PrivateConfig(const std::string& settings, const std::string& original);

  /// Where this process finds the copy, as long as this lives.
  std::string path() const;

 private:
  FileDescriptor copy_;
};

}  // namespace host
