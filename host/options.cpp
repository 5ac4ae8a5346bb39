#include "host/options.h"

#include "host/errors.h"
#include "host/log_file.h"
#include "host/plugin.h"

namespace host {

namespace {

constexpr const char* server_prefix = "azurestack:";

}  // namespace

std::string CommonOptions::server_name() const {
  return server.rfind(server_prefix, 0) == 0 ? server : server_prefix + server;
}

std::string CommonOptions::plugin_path() const { return plugin.empty() ? default_plugin_path() : plugin; }

std::string OutputOptions::log_path() const { return log_file.empty() ? default_log_path() : log_file; }

Restic RepositoryOptions::open() const {
  if (access.password_file.empty() && access.password_command.empty()) {
    throw UsageError("the repository needs --repo-password-file or --repo-password-command");
  }
  return Restic(access);
}

void add_output_options(CLI::App& command, OutputOptions& options) {
  command.add_flag("--json", options.json, "Print one JSON object instead of lines");
  command.add_flag("-v,--verbose", options.verbosity, "Log steps as well as errors; twice: everything");
  command
      .add_option("--log-file", options.log_file,
                  "Where log lines go [$XDG_STATE_HOME or ~/.local/state, azsbackup/azsbackup.log]")
      ->envname("AZSBACKUP_LOG_FILE")
      ->type_name("FILE");
}

void add_common_options(CLI::App& command, CommonOptions& options) {
  command.add_option("--server", options.server, "Host name of the Azure Stack's Resource Manager")
      ->envname("AZSBACKUP_SERVER")
      ->type_name("NAME")
      ->required();
  command.add_option("--config", options.config, "Configuration of the plug-in (KEY=VALUE lines)")
      ->envname("AZSBACKUP_CONFIG")
      ->type_name("FILE");
  command
      .add_option("--credentials", options.credentials,
                  "Credentials store (KEY=VALUE lines, one [SERVER] section each)")
      ->envname("AZSBACKUP_CREDENTIALS")
      ->type_name("FILE");
  auto* user = command.add_option("--user", options.login.user, "User name for a login at ADFS")
                   ->envname("AZSBACKUP_USER")
                   ->type_name("NAME");
  auto* file =
      command.add_option("--password-file", options.login.password_file, "File that holds the user's password")
          ->envname("AZSBACKUP_PASSWORD_FILE")
          ->type_name("FILE");
  auto* program = command
                      .add_option("--password-command", options.login.password_command,
                                  "Shell command that prints the user's password")
                      ->envname("AZSBACKUP_PASSWORD_COMMAND")
                      ->type_name("CMD");
  file->needs(user)->excludes(program);
  program->needs(user);
  command
      .add_option("--plugin", options.plugin, "The plug-in's library [../lib/libazurestackpi.so beside this program]")
      ->envname("AZSBACKUP_PLUGIN")
      ->type_name("PATH");
  add_output_options(command, options);
}

void add_repository_options(CLI::App& command, RepositoryOptions& options) {
  command.add_option("--repo", options.access.address, "The restic repository: a folder, sftp:..., s3:..., rest:...")
      ->envname("AZSBACKUP_REPO")
      ->type_name("ADDRESS")
      ->required();
  auto* file =
      command
          .add_option("--repo-password-file", options.access.password_file, "File that holds the repository's password")
          ->envname("AZSBACKUP_REPO_PASSWORD_FILE")
          ->type_name("FILE");
  command
      .add_option("--repo-password-command", options.access.password_command,
                  "Command that prints the repository's password")
      ->envname("AZSBACKUP_REPO_PASSWORD_COMMAND")
      ->type_name("CMD")
      ->excludes(file);
}

}  // namespace host
