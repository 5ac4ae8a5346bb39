// The options that every command has.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "host/login.h"

namespace host {

struct CommonOptions {
  std::string server;  // as given, with or without the prefix
  std::string config;
  std::string credentials;
  std::string plugin;
  LoginSource login;
  bool json = false;
  int verbosity = 0;
  std::string log_file;

  /// The server's name as the plug-in takes it: "azurestack:HOST".
  std::string server_name() const;
};

/// Adds them to a command; options must outlive the parse and hold their values after it.
void add_common_options(CLI::App& command, CommonOptions& options);

}  // namespace host
