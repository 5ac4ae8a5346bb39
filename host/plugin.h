// The plug-in as a loaded library: found, opened, initialised and looked over once, then used through its table.
#pragma once

#include <aapi/aapi.h>

#include <memory>
#include <string>

namespace host {

class Plugin {
 public:
  /// Loads the library (a path, or a plain name that the loader searches for) and asks it for interface version 2.
  /// Throws PluginError when it cannot be loaded, is no plug-in, refuses the version or leaves one of its 38 entry
  /// points empty.
  explicit Plugin(const std::string& path);

  const aapi_entry_points_t& entry() const { return *info_.entry_points; }
  const std::string& path() const { return path_; }
  /// The version as the plug-in reports it.
  std::string version() const;

 private:
  // The code stays mapped after the last close (RTLD_NODELETE): the exit handlers of the libraries it brings along run
  // at the end of the process and must still find it.
  struct Close {
    void operator()(void* library) const noexcept;
  };

  std::string path_;
  std::unique_ptr<void, Close> library_;
  aapi_plugin_info_t info_{};
};

/// Where the plug-in is looked for when no path is given: ../lib beside the running program, else by its plain name.
std::string default_plugin_path();

}  // namespace host
