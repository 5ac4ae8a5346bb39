#include "host/snapshots_command.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/backup_events.h"
#include "host/backup_run.h"
#include "host/byte_text.h"
#include "host/console.h"
#include "host/discovery_run.h"
#include "host/interrupt.h"
#include "host/log_file.h"
#include "host/options.h"
#include "host/plugin.h"
#include "host/printable.h"
#include "host/private_config.h"
#include "host/selection.h"
#include "host/snapshot_findings.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

// The clean-up after a backup, of no backup in particular: the sweep by age. With an age that no snapshot has it looks
// at all of them and deletes none.
constexpr const char* sweep_settings = "VM_SNAPSHOT_IN_DISCOVERY=false\nENABLE_SNAPSHOT_CLEANUP=1\n";
constexpr const char* look_only_setting = "SNAPSHOT_CLEANUP_MIN=2147483647\n";

struct SnapshotsOptions {
  CommonOptions common;
  std::vector<std::string> selections;
  bool sweep = false;
};

struct SnapshotsOutcome {
  SnapshotFindings found;
  std::vector<Warning> warnings;
  std::optional<Finding> error;

  ExitCode code() const {
    if (error) return error->code;
    return found.failures.empty() ? ExitCode::ok : ExitCode::partial;
  }
};

// ---- The sweep ------------------------------------------------------------------------------------------------------

// The plug-in goes on behind a subscription that fails, with status 0. When nothing could be looked at, that is the
// result, with its cause.
std::optional<Finding> judge(std::uint32_t status, const SnapshotFindings& found, const std::string& server_name) {
  constexpr std::size_t kinds_of_disks = 2;
  const bool in_vain = found.snapshots.empty() && found.failures.size() >= kinds_of_disks * found.subscriptions;
  if (status == AAPI_OK && !in_vain) return std::nullopt;
  return judge_discovery(status == AAPI_OK ? AAPI_E_OPERATION_FAILED : status, found.errors,
                         server_name.substr(server_name.find(':') + 1));
}

void sweep(const SnapshotsOptions& options, const Secret& login, LogFile& log, SnapshotsOutcome& outcome) {
  const std::string name = options.common.server_name();
  const PrivateConfig config(std::string(sweep_settings) + (options.sweep ? "" : look_only_setting),
                             options.common.config);
  const Plugin plugin(options.common.plugin.empty() ? default_plugin_path() : options.common.plugin);
  Session session(plugin, {AAPI_SESSION_BACKUP, config.path(), options.common.credentials, &stop_when_interrupted}, log,
                  is_snapshot_evidence);
  std::optional<Server> server;
  outcome.error = open_server(server, session, name, login);
  if (outcome.error) return;
  session.take_lines();
  const std::uint32_t status = session.entry().postprocess(server->handle(), joined(options.selections).c_str(), "");
  outcome.found = read_snapshot_findings(session.take_lines());
  outcome.error = judge(status, outcome.found, name);
}

SnapshotsOutcome look(const SnapshotsOptions& options, const Secret& login, LogFile& log) {
  SnapshotsOutcome outcome;
  warn_of_store(outcome.warnings, options.common.credentials);
  try {
    sweep(options, login, log, outcome);
    check_interrupt();
  } catch (const PluginError& error) {
    outcome.error = judge_plugin(error);
  } catch (const Interrupted&) {
    outcome.error = Finding{Stage::azure_stack, ExitCode::failed, "stopped by a signal", "Run the command again."};
  }
  return outcome;
}

// ---- The report -----------------------------------------------------------------------------------------------------

const char* word(SnapshotState state) {
  switch (state) {
    case SnapshotState::deleted:
      return "deleted";
    case SnapshotState::failed:
      return "failed";
    default:
      return "standing";
  }
}

using Row = std::array<std::string, 4>;

Row row_of(const StandingSnapshot& snapshot) {
  return {printable(snapshot.place), printable(snapshot.disk),
          snapshot.backup_id == 0 ? "-" : time_text(snapshot.backup_id), word(snapshot.state)};
}

std::string table(const std::vector<StandingSnapshot>& snapshots) {
  std::vector<Row> rows{{"GROUP OR ACCOUNT", "DISK", "BACKUP OF", "STATE"}};
  std::transform(snapshots.begin(), snapshots.end(), std::back_inserter(rows), row_of);
  Row widest;
  for (const Row& row : rows) {
    for (std::size_t at = 0; at < row.size(); ++at) widest[at].resize(std::max(widest[at].size(), row[at].size()));
  }
  std::string text;
  for (const Row& row : rows) {
    for (std::size_t at = 0; at + 1 < row.size(); ++at) {
      text.append(row[at]).append(widest[at].size() - row[at].size() + 2, ' ');
    }
    text.append(row.back()).append("\n");
  }
  return text;
}

std::string lines(const SnapshotsOutcome& outcome) {
  const auto& snapshots = outcome.found.snapshots;
  const auto deleted = std::count_if(snapshots.begin(), snapshots.end(),
                                     [](const auto& entry) { return entry.state == SnapshotState::deleted; });
  std::string text = snapshots.empty() ? "" : table(snapshots) + "\n";
  for (const LeftOut& failure : outcome.found.failures) {
    text += "Not done: " + printable(failure.what) + "\n  " + printable(failure.why) + "\n";
  }
  return text + std::to_string(snapshots.size()) + (snapshots.size() == 1 ? " snapshot" : " snapshots") +
         " of backups found, " + std::to_string(deleted) + " deleted.\n";
}

Json as_json(const StandingSnapshot& snapshot) {
  return {{"id", snapshot.id},
          {"managed", snapshot.managed},
          {"place", snapshot.place},
          {"disk", snapshot.disk},
          {"backup_id", snapshot.backup_id == 0 ? Json() : Json(std::to_string(snapshot.backup_id))},
          {"state", word(snapshot.state)}};
}

Json as_json(const SnapshotsOutcome& outcome, const SnapshotsOptions& options, const LogFile& log) {
  Json object{{"command", "snapshots"},
              {"server", options.common.server_name()},
              {"selections", options.selections},
              {"sweep", options.sweep},
              {"result", result_word(outcome.code())},
              {"exit_code", static_cast<int>(outcome.code())},
              {"error", error_json(outcome.error)},
              {"warnings", warnings_json(outcome.warnings)},
              {"snapshots", Json::array()},
              {"failures", Json::array()}};
  for (const StandingSnapshot& snapshot : outcome.found.snapshots) object["snapshots"].push_back(as_json(snapshot));
  for (const LeftOut& failure : outcome.found.failures) {
    object["failures"].push_back({{"what", failure.what}, {"why", failure.why}});
  }
  object["log_file"] = log.path();
  return object;
}

ExitCode run(SnapshotsOptions options) {
  options.selections = read_selections(options.selections);
  const Secret login = read_login(options.common.login);
  LogFile log(options.common.log_file.empty() ? default_log_path() : options.common.log_file, options.common.verbosity);
  const InterruptGuard guard;
  const Console console(log.descriptor());
  const SnapshotsOutcome outcome = look(options, login, log);
  if (options.common.json) {
    console.print(as_json(outcome, options, log).dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
    return outcome.code();
  }
  for (const Warning& warning : outcome.warnings) console.print_error(lines_of(warning, "warning: "));
  if (outcome.error) {
    console.print_error(lines_of({outcome.error->what, outcome.error->next}, "snapshots failed: ") +
                        "  Log: " + printable(log.path()) + "\n");
  } else {
    console.print(lines(outcome));
  }
  return outcome.code();
}

}  // namespace

void add_snapshots_command(CLI::App& program, Action& action) {
  auto* command =
      program.add_subcommand("snapshots", "Show the snapshots that backups left in the cloud, or delete the old ones");
  const auto options = std::make_shared<SnapshotsOptions>();
  add_common_options(*command, options->common);
  command->add_option("SELECTION", options->selections, "Whose; subscriptions are looked at as a whole");
  command->add_flag("--sweep", options->sweep,
                    "Delete those that are older than SNAPSHOT_CLEANUP_MIN in the configuration says (a day)");
  command->footer(exit_code_help());
  command->callback([options, &action] { action = [options] { return run(*options); }; });
}

}  // namespace host
