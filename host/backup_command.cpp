#include "host/backup_command.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/backup_text.h"
#include "host/console.h"
#include "host/interrupt.h"
#include "host/log_file.h"
#include "host/options.h"
#include "host/plugin.h"
#include "host/printable.h"
#include "host/private_config.h"
#include "host/private_folder.h"
#include "host/selection.h"
#include "host/status_text.h"
#include "host/workload_file.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

struct BackupOptions {
  CommonOptions common;
  RepositoryOptions repository;
  std::vector<std::string> selections;
  std::string workload;  // one file; empty: a discovery of the selections
  std::string snapshot;  // of finish
  bool init = false;
};

// The plug-in waits minutes for snapshots; this is how a signal reaches it there.
std::uint32_t stop_when_interrupted(const char* /*caller*/) { return stop_request() ? 1 : 0; }

Finding interruption() {
  return {Stage::azure_stack, ExitCode::failed, "stopped by a signal; what was open is closed",
          "Run the backup again; what is stored already is not stored twice."};
}

/// One run of the command. Its steps fill the outcome.
class Backup {
 public:
  Backup(const BackupOptions& options, const Secret& login, LogFile& log, const Console& console, const Restic& restic)
      : options_(options),
        login_(login),
        log_(log),
        console_(console),
        restic_(restic),
        progress_(console, options.common.json),
        server_name_(options.common.server_name()),
        config_("", options.common.config) {}

  BackupOutcome run() {
    warn_of_store(outcome_.warnings, options_.common.credentials);
    try {
      prepare_repository();
      const Plugin plugin(options_.common.plugin.empty() ? default_plugin_path() : options_.common.plugin);
      if (options_.workload.empty()) {
        back_up_selections(plugin);
      } else {
        back_up_file(plugin);
      }
    } catch (const ResticError& error) {
      fail({Stage::azure_stack, ExitCode::repository, error.what(),
            "Check --repo and its password; --init makes a new repository."});
    } catch (const PluginError& error) {
      fail(judge_plugin(error));
    } catch (const WorkloadError& error) {
      fail({Stage::azure_stack, ExitCode::failed, error.what(), "Discover again."});
    } catch (const Interrupted&) {
      fail(interruption());
    }
    return std::move(outcome_);
  }

 private:
  void fail(Finding finding) { outcome_.error = std::move(finding); }

  // Before anything is asked of the cloud: snapshots that nobody can store would be in vain.
  void prepare_repository() const {
    try {
      restic_.open();
    } catch (const ResticError&) {
      if (!options_.init || !initialized()) throw;
    }
  }

  bool initialized() const {
    try {
      restic_.init();
      return true;
    } catch (const ResticError& error) {
      log_.write(AAPI_LOG_ERROR, error.what());
      return false;
    }
  }

  SessionSettings settings(std::uint32_t kind) const {
    return {kind, config_.path(), options_.common.credentials, &stop_when_interrupted};
  }

  // A discovery may have taken snapshots before it failed; they go as those of a whole one do.
  void back_up_selections(const Plugin& plugin) {
    const PrivateFolder folder("");
    outcome_.backup_id = std::to_string(std::time(nullptr));
    DiscoveryOutcome found = discover(plugin, folder.path());
    outcome_.warnings.insert(outcome_.warnings.end(), found.warnings.begin(), found.warnings.end());
    const auto* finding = std::get_if<Finding>(&found.result);
    if (finding != nullptr) {
      fail(*finding);
      if (finding->code != ExitCode::failed) return;
      with_server(plugin, [&](const BackupTools& tools) { finish(tools.server); });
      return;
    }
    outcome_.discovery = std::get<Discovery>(std::move(found.result));
    with_server(plugin, [&](const BackupTools& tools) {
      back_up_all(tools, read_machine_work(workload_files(folder.path())));
      finish(tools.server);
    });
  }

  DiscoveryOutcome discover(const Plugin& plugin, const std::string& folder) const {
    Session session(plugin, settings(AAPI_SESSION_DISCOVERY), log_, is_discovery_evidence);
    return run_discovery(session, {server_name_, options_.selections, folder, outcome_.backup_id}, login_);
  }

  void back_up_file(const Plugin& plugin) {
    const auto work = read_machine_work({options_.workload});
    if (!work.empty()) outcome_.backup_id = work.front().snapshot_name;
    with_server(plugin, [&](const BackupTools& tools) { back_up_all(tools, work); });
  }

  template <typename Body>
  void with_server(const Plugin& plugin, const Body& body) {
    Session session(plugin, settings(AAPI_SESSION_BACKUP), log_);
    std::optional<Server> server;
    if (auto refused = open_server(server, session, server_name_, login_)) {
      fail(std::move(*refused));
    } else {
      body(BackupTools{session, *server, server_name_, restic_, progress_});
    }
  }

  // After a signal what is left of the backup is not tried, but its end is done as ever: the snapshots have to go.
  void back_up_all(const BackupTools& tools, const std::vector<MachineWork>& work) {
    try {
      for (const MachineWork& machine : work) {
        if (machine.machine.path.empty()) {
          query_folders(tools, machine);
        } else if (!is_refused(machine.machine.path)) {
          add(back_up_machine(tools, machine));
        }
      }
      check_interrupt();  // the signal that stopped the plug-in in the last machine
    } catch (const Interrupted&) {
      fail(interruption());
      add_untried(work);
    }
  }

  bool is_refused(const std::string& path) const {
    const auto& refused = outcome_.discovery.refused;
    return std::any_of(refused.begin(), refused.end(), [&](const LeftOut& entry) { return entry.what == path; });
  }

  void add(MachineResult result) {
    if (!options_.common.json) console_.print(machine_lines(result));
    outcome_.machines.push_back(std::move(result));
  }

  void add_untried(const std::vector<MachineWork>& work) {
    for (const MachineWork& machine : work) {
      const std::string& path = machine.machine.path;
      const bool done = path.empty() || is_refused(path) ||
                        std::any_of(outcome_.machines.begin(), outcome_.machines.end(),
                                    [&](const MachineResult& result) { return result.machine == path; });
      if (done) continue;
      MachineResult result;
      result.machine = path;
      result.problem = "its backup was stopped by a signal";
      add(std::move(result));
    }
  }

  void finish(const Server& server) {
    const std::uint32_t status =
        server.entry().postprocess(server.handle(), joined(options_.selections).c_str(), outcome_.backup_id.c_str());
    if (status == AAPI_OK) return;
    outcome_.warnings.push_back({"snapshots of this backup may be left: " + status_text(status),
                                 "Run: azsbackup finish --snapshot " + outcome_.backup_id + " SELECTION..."});
  }

  const BackupOptions& options_;
  const Secret& login_;
  LogFile& log_;
  const Console& console_;
  const Restic& restic_;
  Progress progress_;
  const std::string server_name_;
  const PrivateConfig config_;
  BackupOutcome outcome_;
};

// ---- The report -----------------------------------------------------------------------------------------------------

void print_lines(const Console& console, const BackupOutcome& outcome, const LogFile& log) {
  for (const Warning& warning : outcome.warnings) console.print_error(lines_of(warning, "warning: "));
  if (outcome.error) {
    console.print_error(lines_of({outcome.error->what, outcome.error->next}, "backup failed: ") +
                        "  Log: " + printable(log.path()) + "\n");
  }
  if (!outcome.error || !outcome.machines.empty()) console.print(summary_lines(outcome));
}

Json as_json(const BackupOutcome& outcome, const BackupOptions& options, const Restic& restic, const LogFile& log) {
  const ExitCode code = backup_code(outcome);
  Json object{{"command", "backup"},         {"server", options.common.server_name()},
              {"repository", restic.name()}, {"selections", options.selections},
              {"result", result_word(code)}, {"exit_code", static_cast<int>(code)}};
  object.update(backup_json(outcome));
  object["log_file"] = log.path();
  return object;
}

ExitCode run_backup(BackupOptions options) {
  if (options.workload.empty()) {
    options.selections = read_selections(options.selections);
  } else if (!options.selections.empty()) {
    throw UsageError("--workload takes the place of selections; give one or the other");
  }
  const Restic restic = options.repository.open();
  const Secret login = read_login(options.common.login);
  LogFile log(options.common.log_file.empty() ? default_log_path() : options.common.log_file, options.common.verbosity);
  const InterruptGuard guard;
  const Console console(log.descriptor());
  const BackupOutcome outcome = Backup(options, login, log, console, restic).run();
  if (options.common.json) {
    console.print(as_json(outcome, options, restic, log).dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
  } else {
    print_lines(console, outcome, log);
  }
  return backup_code(outcome);
}

// ---- The end of a backup --------------------------------------------------------------------------------------------

std::optional<Finding> finish(const BackupOptions& options, const Secret& login, LogFile& log) {
  const std::string name = options.common.server_name();
  const PrivateConfig config("", options.common.config);
  const Plugin plugin(options.common.plugin.empty() ? default_plugin_path() : options.common.plugin);
  Session session(plugin, {AAPI_SESSION_BACKUP, config.path(), options.common.credentials, &stop_when_interrupted},
                  log);
  std::optional<Server> server;
  if (auto refused = open_server(server, session, name, login)) return refused;
  const std::uint32_t status =
      session.entry().postprocess(server->handle(), joined(options.selections).c_str(), options.snapshot.c_str());
  if (status == AAPI_OK) return std::nullopt;
  return Finding{Stage::azure_stack, ExitCode::failed, "snapshots may be left: " + status_text(status),
                 status_advice(status)};
}

ExitCode run_finish(BackupOptions options) {
  options.selections = read_selections(options.selections);
  const Secret login = read_login(options.common.login);
  LogFile log(options.common.log_file.empty() ? default_log_path() : options.common.log_file, options.common.verbosity);
  const InterruptGuard guard;
  const Console console(log.descriptor());
  std::optional<Finding> error;
  try {
    error = finish(options, login, log);
  } catch (const PluginError& failure) {
    error = judge_plugin(failure);
  }
  const ExitCode code = error ? error->code : ExitCode::ok;
  if (options.common.json) {
    const Json object{{"command", "finish"},
                      {"server", options.common.server_name()},
                      {"backup_id", options.snapshot},
                      {"result", result_word(code)},
                      {"exit_code", static_cast<int>(code)},
                      {"error", error ? Json{{"what", error->what}, {"next", error->next}} : Json()},
                      {"log_file", log.path()}};
    console.print(object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
  } else if (error) {
    console.print_error(lines_of({error->what, error->next}, "finish failed: ") + "  Log: " + printable(log.path()) +
                        "\n");
  } else {
    console.print("Backup " + printable(options.snapshot) + " is finished: its snapshots are gone.\n");
  }
  return code;
}

}  // namespace

void add_backup_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand("backup", "Back machines up into a restic repository");
  const auto options = std::make_shared<BackupOptions>();
  add_common_options(*command, options->common);
  add_repository_options(*command, options->repository);
  command->add_option("SELECTION", options->selections,
                      "What to back up: /SUBSCRIPTION, /SUBSCRIPTION/GROUP or /SUBSCRIPTION/GROUP/MACHINE");
  command
      ->add_option("--workload", options->workload,
                   "Back up what this workload file of a discovery names; end such a backup with finish")
      ->type_name("FILE");
  command->add_flag("--init", options->init, "Make the repository when it cannot be opened");
  command->footer(exit_code_help());
  command->callback([options, &action] { action = [options] { return run_backup(*options); }; });
}

void add_finish_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand("finish", "Delete the snapshots of a backup whose workload files are done");
  const auto options = std::make_shared<BackupOptions>();
  add_common_options(*command, options->common);
  command->add_option("SELECTION", options->selections, "What the discovery was given");
  command->add_option("--snapshot", options->snapshot, "The backup's id: the snapshot name of its workload files")
      ->type_name("ID")
      ->required()
      ->check([](const std::string& id) {
        return id.find_first_not_of("0123456789") == std::string::npos ? "" : "the backup's id is a number";
      });
  command->footer(exit_code_help());
  command->callback([options, &action] { action = [options] { return run_finish(*options); }; });
}

}  // namespace host
