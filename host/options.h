// The options that every command has.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "host/login.h"
#include "host/restic.h"

namespace host {

/// How a command tells its outcome.
struct OutputOptions {
  bool json = false;
  int verbosity = 0;
  std::string log_file;

  /// Where log lines go: as given, else default_log_path().
  std::string log_path() const;
};

/// Of the commands that speak to an Azure Stack.
struct CommonOptions : OutputOptions {
  std::string server;  // as given, with or without the prefix
  std::string config;
  std::string credentials;
  std::string plugin;
  LoginSource login;

  /// The server's name as the plug-in takes it: "azurestack:HOST".
  std::string server_name() const;
  /// The plug-in's library: as given, else default_plugin_path().
  std::string plugin_path() const;
};

/// Of the commands that speak to the repository.
struct RepositoryOptions {
  RepositoryAccess access;

  /// Throws UsageError when no password source is given.
  Restic open() const;
};

/// These add them to a command; options must outlive the parse and hold their values after it.
void add_output_options(CLI::App& command, OutputOptions& options);
void add_common_options(CLI::App& command, CommonOptions& options);
void add_repository_options(CLI::App& command, RepositoryOptions& options);

}  // namespace host
