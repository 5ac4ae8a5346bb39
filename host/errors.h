// The two ways in which a command gives up before it has a result of its own.
#pragma once

#include <stdexcept>

namespace host {

/// What the operator gave cannot be used (exit code 2). The text says what and why, never a secret.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The plug-in cannot be loaded or is not one (exit code 10).
class PluginError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace host
