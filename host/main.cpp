// azsbackup: the reference host of the plug-in, on the command line.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/action.h"
#include "host/backup_command.h"
#include "host/check_command.h"
#include "host/discover_command.h"
#include "host/errors.h"
#include "host/exit_codes.h"
#include "host/export_command.h"
#include "host/file_descriptor.h"
#include "host/finish_command.h"
#include "host/outcome.h"
#include "host/prune_command.h"
#include "host/report_command.h"
#include "host/repository_commands.h"
#include "host/restore_command.h"
#include "host/snapshots_command.h"

namespace {

using host::ExitCode;

// CLI11 has exit codes of its own; here whatever it refuses is a usage error.
ExitCode report_parse(const CLI::App& program, const CLI::ParseError& error) {
  return program.exit(error) == 0 ? ExitCode::ok : ExitCode::usage;
}

ExitCode run(int argc, char** argv) {
  CLI::App program("Backup of Azure Stack virtual machines through the azurestack plug-in");
  program.set_version_flag("--version", "azsbackup " AZS_VERSION);
  program.require_subcommand(1);
  program.footer(host::exit_code_help());
  host::Action action;
  host::add_check_command(program, action);
  host::add_discover_command(program, action);
  host::add_backup_command(program, action);
  host::add_finish_command(program, action);
  host::add_snapshots_command(program, action);
  host::add_repository_commands(program, action);
  host::add_report_command(program, action);
  host::add_prune_command(program, action);
  host::add_restore_command(program, action);
  host::add_export_command(program, action);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return report_parse(program, error);
  }
  return action();
}

// Before a command had a report to put it into. A program that asked for JSON gets it all the same.
void tell_failure(const std::vector<std::string>& arguments, ExitCode code, const char* what) {
  std::cerr << "azsbackup: " << what << "\n";
  if (std::find(arguments.begin(), arguments.end(), "--json") == arguments.end()) return;
  const host::Finding error{host::Stage::azure_stack, code, what, ""};
  std::cout << host::report_text({{"command", arguments.size() > 1 ? arguments[1] : ""},
                                  {"result", host::result_word(code)},
                                  {"exit_code", static_cast<int>(code)},
                                  {"error", host::error_json(error)}});
}

}  // namespace

int main(int argc, char** argv) {
  ExitCode code = ExitCode::failed;
  try {
    host::fill_standard_descriptors();
    code = run(argc, argv);
  } catch (const host::UsageError& error) {
    code = ExitCode::usage;
    tell_failure({argv, argv + argc}, code, error.what());
  } catch (const std::exception& error) {
    tell_failure({argv, argv + argc}, code, error.what());
  }
  return static_cast<int>(code);
}
