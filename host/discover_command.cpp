#include "host/discover_command.h"

#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>
#include <variant>

#include "host/console.h"
#include "host/discovery_run.h"
#include "host/log_file.h"
#include "host/options.h"
#include "host/plugin.h"
#include "host/printable.h"
#include "host/private_config.h"
#include "host/private_folder.h"
#include "host/selection.h"
#include "host/session.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

// A discovery takes a snapshot of every disk unless it is told otherwise, and deletes stale ones when the configuration
// says so. Somebody who only looks wants neither, whatever the configuration says for backups.
constexpr const char* look_only_settings = "VM_SNAPSHOT_IN_DISCOVERY=false\nENABLE_SNAPSHOT_CLEANUP=0\n";

struct DiscoverOptions {
  CommonOptions common;
  std::vector<std::string> selections;
  std::string keep;
};

// ---- The discovery --------------------------------------------------------------------------------------------------

DiscoveryOutcome discover(const DiscoverOptions& options, const Secret& login, LogFile& log,
                          const std::string& folder) {
  const CommonOptions& common = options.common;
  const PrivateConfig config(look_only_settings, common.config);
  std::vector<Warning> warnings;
  warn_of_store(warnings, common.credentials);
  DiscoveryOutcome outcome;
  try {
    const Plugin plugin(common.plugin.empty() ? default_plugin_path() : common.plugin);
    Session session(plugin, {AAPI_SESSION_DISCOVERY, config.path(), common.credentials}, log, is_discovery_evidence);
    outcome = run_discovery(
        session, {common.server_name(), options.selections, folder, std::to_string(std::time(nullptr))}, login);
  } catch (const PluginError& error) {
    outcome.result = judge_plugin(error);
  }
  outcome.warnings.insert(outcome.warnings.begin(), warnings.begin(), warnings.end());
  return outcome;
}

// ---- The report -----------------------------------------------------------------------------------------------------

void print_lines(const Console& console, const DiscoveryOutcome& outcome, const DiscoverOptions& options,
                 const LogFile& log) {
  for (const Warning& warning : outcome.warnings) console.print_error(lines_of(warning, "warning: "));
  if (const auto* finding = std::get_if<Finding>(&outcome.result)) {
    console.print_error(lines_of({finding->what, finding->next}, "discover failed: ") +
                        "  Log: " + printable(log.path()) + "\n");
    return;
  }
  console.print(discovery_tree(std::get<Discovery>(outcome.result), options.common.verbosity > 0));
  if (!options.keep.empty()) console.print("Workload files: " + printable(options.keep) + "\n");
}

// Every member stands in every object, so that a program need not ask which outcome has which.
Json as_json(const DiscoveryOutcome& outcome, const DiscoverOptions& options, const LogFile& log) {
  const auto* discovery = std::get_if<Discovery>(&outcome.result);
  const auto* finding = std::get_if<Finding>(&outcome.result);
  Json object{{"command", "discover"},
              {"server", options.common.server_name()},
              {"selections", options.selections},
              {"result", result_word(outcome.code())},
              {"exit_code", static_cast<int>(outcome.code())},
              {"error", finding == nullptr ? Json() : Json{{"what", finding->what}, {"next", finding->next}}},
              {"warnings", warnings_json(outcome.warnings)}};
  object.update(discovery_json(discovery != nullptr ? *discovery : Discovery{}));
  object["workload_folder"] = options.keep.empty() ? Json() : Json(options.keep);
  object["log_file"] = log.path();
  return object;
}

ExitCode run(DiscoverOptions options) {
  options.selections = read_selections(options.selections);
  const Secret login = read_login(options.common.login);
  LogFile log(options.common.log_file.empty() ? default_log_path() : options.common.log_file, options.common.verbosity);
  const PrivateFolder folder(options.keep);
  const Console console(log.descriptor());
  const DiscoveryOutcome outcome = discover(options, login, log, folder.path());
  if (options.common.json) {
    // Names from outside may be no UTF-8; they are shown with a mark instead of failing the report.
    console.print(as_json(outcome, options, log).dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
  } else {
    print_lines(console, outcome, options, log);
  }
  return outcome.code();
}

}  // namespace

void add_discover_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand(
      "discover", "Show the machines and disks that a backup would protect, without taking snapshots");
  const auto options = std::make_shared<DiscoverOptions>();
  add_common_options(*command, options->common);
  command->add_option("SELECTION", options->selections,
                      "What to look at: /SUBSCRIPTION, /SUBSCRIPTION/GROUP or /SUBSCRIPTION/GROUP/MACHINE");
  command
      ->add_option("--keep", options->keep,
                   "Make this folder, which must not exist yet, and leave the workload files in it")
      ->type_name("DIR");
  command->footer(exit_code_help());
  command->callback([options, &action] { action = [options] { return run(*options); }; });
}

}  // namespace host
