#include "host/discover_command.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <variant>

#include "host/console.h"
#include "host/discovery_text.h"
#include "host/errors.h"
#include "host/given_file.h"
#include "host/log_file.h"
#include "host/options.h"
#include "host/plugin.h"
#include "host/printable.h"
#include "host/private_config.h"
#include "host/private_folder.h"
#include "host/selection.h"
#include "host/session.h"
#include "host/status_text.h"
#include "host/workload_file.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* worker = "azsbackup";
constexpr const char* file_suffix = "discover";

// A discovery takes a snapshot of every disk unless it is told otherwise, and deletes stale ones when the configuration
// says so. Somebody who only looks wants neither, whatever the configuration says for backups.
constexpr const char* look_only_settings = "VM_SNAPSHOT_IN_DISCOVERY=false\nENABLE_SNAPSHOT_CLEANUP=0\n";

struct DiscoverOptions {
  CommonOptions common;
  std::vector<std::string> selections;
  std::string keep;
};

struct Warning {
  std::string what;
  std::string next;
};

// What came of it: either the discovery, whole or in part, or why there is none.
struct Outcome {
  std::variant<Discovery, Finding> result;
  std::vector<Warning> warnings;

  ExitCode code() const {
    const auto* discovery = std::get_if<Discovery>(&result);
    return discovery != nullptr ? discovery_code(*discovery) : std::get<Finding>(result).code;
  }
};

// ---- The discovery --------------------------------------------------------------------------------------------------

std::vector<std::string> error_texts(const std::vector<LogLine>& lines) {
  std::vector<std::string> texts;
  texts.reserve(lines.size());
  for (const LogLine& line : lines) texts.push_back(line.text);
  return texts;
}

std::vector<Machine> read_machines(const std::string& folder) {
  MachineList list;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    read_workload_file(file.path(), [&](std::string_view record) { list.add(record); });
  }
  return list.take();
}

Finding broken_off(const std::string& why, const DiscoveryFindings& findings) {
  const std::string error = findings.last_scan_error.empty() ? "" : " (" + findings.last_scan_error + ")";
  return {Stage::azure_stack, ExitCode::failed, "the discovery did not get to its end: " + why + error,
          "Check that the disk under the folder of the workload files (--keep or TMPDIR, else /tmp) is not full."};
}

// The plug-in ends with status 0 even when it could not write the files whole; its own count of the machines that it
// wrote, or the lack of it, tells. A machine that is found but could not be backed up joins the refused ones.
std::variant<Discovery, Finding> collect(const std::string& folder, DiscoveryFindings findings) {
  Discovery discovery;
  std::vector<Machine> machines;
  try {
    machines = read_machines(folder);
  } catch (const WorkloadError& error) {
    return broken_off(error.what(), findings);
  } catch (const std::filesystem::filesystem_error& error) {
    return broken_off(error.what(), findings);
  }
  if (!findings.written) return broken_off("it gives no count of its machines", findings);
  if (*findings.written != machines.size()) {
    return broken_off("the workload files hold " + std::to_string(machines.size()) + " machines of " +
                          std::to_string(*findings.written),
                      findings);
  }
  discovery.refused = std::move(findings.refused);
  discovery.filtered = std::move(findings.filtered);
  discovery.unlisted = std::move(findings.unlisted);
  for (Machine& machine : machines) {
    if (machine.problem.empty()) {
      discovery.machines.push_back(std::move(machine));
    } else {
      discovery.refused.push_back({machine.path, machine.problem});
    }
  }
  return discovery;
}

void warn_of_tls(Outcome& outcome, const std::vector<std::string>& lines) {
  if (tls_peers(lines) != TlsPeers::unchecked) return;
  outcome.warnings.push_back(
      {"servers are not verified: anyone on the way can read the login",
       "Set CA_FILE_PATH in the configuration to the CA certificates (PEM) of this Azure Stack."});
}

void discover_in(Outcome& outcome, Session& session, const Server& server, const DiscoverOptions& options,
                 const std::string& folder) {
  const std::string name = options.common.server_name();
  const std::string now = std::to_string(std::time(nullptr));
  session.take_lines();
  const std::uint32_t status = session.entry().discovery(server.handle(), joined(options.selections).c_str(), worker,
                                                         folder.c_str(), file_suffix, "", now.c_str());
  const std::vector<LogLine> lines = session.take_lines();
  const std::vector<std::string> texts = error_texts(lines);
  warn_of_tls(outcome, texts);
  if (status != AAPI_OK) {
    outcome.result = judge_discovery(status, texts, name.substr(name.find(':') + 1));
  } else {
    outcome.result = collect(folder, read_discovery_findings(lines));
  }
}

void discover_at(Outcome& outcome, Session& session, const DiscoverOptions& options, const Secret& login,
                 const std::string& folder) {
  const std::string name = options.common.server_name();
  std::uint32_t status = session.entry().claim(name.c_str());
  std::optional<Server> server;
  if (status == AAPI_OK) status = server.emplace(session, name, login).open_status();
  if (status != AAPI_OK) {
    outcome.result = Finding{Stage::azure_stack, ExitCode::server_name, name + ": refused, " + status_text(status),
                             status_advice(AAPI_E_SERVER_NAME)};
    return;
  }
  discover_in(outcome, session, *server, options, folder);
}

Outcome discover(const DiscoverOptions& options, const Secret& login, LogFile& log, const std::string& folder) {
  const CommonOptions& common = options.common;
  const PrivateConfig config(look_only_settings, common.config);
  Outcome outcome;
  if (!common.credentials.empty() && others_can_read(open_given_file(common.credentials))) {
    outcome.warnings.push_back(
        {common.credentials + " can be read by group or others", "Run: chmod 600 " + common.credentials});
  }
  try {
    const Plugin plugin(common.plugin.empty() ? default_plugin_path() : common.plugin);
    Session session(plugin, {AAPI_SESSION_DISCOVERY, config.path(), common.credentials}, log, is_discovery_evidence);
    discover_at(outcome, session, options, login, folder);
  } catch (const PluginError& error) {
    outcome.result =
        Finding{Stage::azure_stack, ExitCode::plugin, error.what(),
                "Give the library's path with --plugin, and check that it and the libraries it needs are installed."};
  }
  return outcome;
}

// ---- The report -----------------------------------------------------------------------------------------------------

const char* result_word(ExitCode code) {
  switch (code) {
    case ExitCode::ok:
      return "ok";
    case ExitCode::partial:
      return "partial";
    case ExitCode::nothing_found:
      return "nothing found";
    default:
      return "failed";
  }
}

std::string lines_of(const Warning& message, const char* kind) {
  return "azsbackup: " + std::string(kind) + printable(message.what) + "\n  -> " + printable(message.next) + "\n";
}

void print_lines(const Console& console, const Outcome& outcome, const DiscoverOptions& options, const LogFile& log) {
  for (const Warning& warning : outcome.warnings) console.print_error(lines_of(warning, "warning: "));
  if (const auto* finding = std::get_if<Finding>(&outcome.result)) {
    console.print_error(lines_of({finding->what, finding->next}, "discover failed: ") +
                        "  Log: " + printable(log.path()) + "\n");
    return;
  }
  console.print(discovery_tree(std::get<Discovery>(outcome.result), options.common.verbosity > 0));
  if (!options.keep.empty()) console.print("Workload files: " + printable(options.keep) + "\n");
}

Json warnings_json(const Outcome& outcome) {
  Json array = Json::array();
  for (const Warning& warning : outcome.warnings) array.push_back({{"what", warning.what}, {"next", warning.next}});
  return array;
}

// Every member stands in every object, so that a program need not ask which outcome has which.
Json as_json(const Outcome& outcome, const DiscoverOptions& options, const LogFile& log) {
  const auto* discovery = std::get_if<Discovery>(&outcome.result);
  const auto* finding = std::get_if<Finding>(&outcome.result);
  Json object{{"command", "discover"},
              {"server", options.common.server_name()},
              {"selections", options.selections},
              {"result", result_word(outcome.code())},
              {"exit_code", static_cast<int>(outcome.code())},
              {"error", finding == nullptr ? Json() : Json{{"what", finding->what}, {"next", finding->next}}},
              {"warnings", warnings_json(outcome)}};
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
  const Outcome outcome = discover(options, login, log, folder.path());
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
