#include "host/restore_command.h"

#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/backup_choice.h"
#include "host/console.h"
#include "host/interrupt.h"
#include "host/log_file.h"
#include "host/options.h"
#include "host/plugin.h"
#include "host/printable.h"
#include "host/private_config.h"
#include "host/restore_text.h"
#include "host/run_tools.h"
#include "host/status_text.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

struct RestoreOptions {
  CommonOptions common;
  RepositoryOptions repository;
  std::string backup;
  std::vector<std::string> machines;
  GivenChanges given;
  bool dry_run = false;
};

bool is_evidence_of_restore(std::string_view line) { return is_evidence(line) || is_restore_evidence(line); }

constexpr const char* after_signal = "Restore again the machines that are not done.";

/// One run of the command. Its steps fill the outcome.
class Restore {
 public:
  Restore(const RestoreOptions& options, const RestoreChanges& changes, const RunTools& tools)
      : options_(options),
        changes_(changes),
        tools_(tools),
        progress_(tools.console, options.common.json),
        server_name_(options.common.server_name()),
        config_("", options.common.config) {
    outcome_.dry_run = options.dry_run;
  }

  RestoreOutcome run() {
    warn_of_store(outcome_.warnings, options_.common.credentials);
    const auto failure = finding_of(
        [&] {
          std::vector<RestorePlan> plans = read_plans();
          if (!plans.empty()) restore(Plugin(options_.common.plugin_path()), std::move(plans));
        },
        after_signal);
    if (failure) fail(*failure);
    return std::move(outcome_);
  }

 private:
  void fail(Finding finding) { outcome_.error = std::move(finding); }

  // A machine that cannot be planned is told and keeps the others from nothing.
  std::vector<RestorePlan> read_plans() {
    const auto entries = choose_backups(tools_.restic, options_.backup, options_.machines);
    const StoredStreams streams = list_streams(tools_.restic);
    std::vector<RestorePlan> plans;
    for (const ManifestEntry& entry : entries) {
      try {
        plans.push_back(plan_restore(load_manifest(tools_.restic, entry), entry, changes_, streams));
      } catch (const ManifestError& error) {
        add_unplanned(entry, error.what());
      }
    }
    check_fit(changes_, plans);
    return plans;
  }

  void add_unplanned(const ManifestEntry& entry, const char* problem) {
    RestoreResult result;
    result.plan.machine = entry.machine;
    result.plan.backup_id = entry.backup_id;
    result.problem = problem;
    result.next = "Restore an older backup of it; see azsbackup list.";
    print(printable(entry.machine) + "\n");
    add(std::move(result));
  }

  void restore(const Plugin& plugin, std::vector<RestorePlan> plans) {
    Session session(plugin, {AAPI_SESSION_RESTORE, config_.path(), options_.common.credentials, &stop_when_interrupted},
                    tools_.log, is_evidence_of_restore);
    std::optional<Server> server;
    if (auto refused = open_server(server, session, server_name_, tools_.login)) return fail(std::move(*refused));
    if (auto broken = check_way(session, *server)) return fail(std::move(*broken));
    restore_all({session, *server, tools_.restic, progress_}, std::move(plans));
    const std::uint32_t status = server->entry().restore_postprocess();
    if (status == AAPI_OK || restore_code(outcome_) != ExitCode::ok) return;
    outcome_.warnings.push_back({"the plug-in says that the restore failed: " + status_text(status),
                                 "Look at the restored machines, and at the log file."});
  }

  // One query logs in and lists the subscriptions, so that what is wrong there is told as that.
  std::optional<Finding> check_way(Session& session, const Server& server) {
    session.take_lines();
    aapi_object_info_v1_t facts{};
    const std::uint32_t status = server.entry().get_object_prop_byname(server.handle(), "/", &facts);
    std::vector<std::string> lines;
    for (LogLine& line : session.take_lines()) lines.push_back(std::move(line.text));
    if (tls_peers(lines) == TlsPeers::unchecked) {
      outcome_.warnings.push_back(
          {"servers are not verified: anyone on the way can read the login",
           "Set CA_FILE_PATH in the configuration to the CA certificates (PEM) of this Azure Stack."});
    }
    if (status == AAPI_OK) return std::nullopt;
    return judge_query(status, lines, server_name_.substr(server_name_.find(':') + 1));
  }

  void restore_all(const RestoreTools& tools, std::vector<RestorePlan> plans) {
    const auto work = options_.dry_run ? &check_target : &restore_machine;
    for (RestorePlan& plan : plans) {
      print(plan_lines(plan));
      if (outcome_.error) {
        add_untried(std::move(plan));
        continue;
      }
      add(work(tools, std::move(plan)));
      if (outcome_.machines.back().interrupted) fail(interruption(after_signal));
    }
  }

  void add_untried(RestorePlan plan) {
    RestoreResult result;
    result.plan = std::move(plan);
    result.problem = "it was not begun, because of a signal";
    add(std::move(result));
  }

  void add(RestoreResult result) {
    print(result_lines(result, options_.dry_run));
    outcome_.machines.push_back(std::move(result));
  }

  void print(const std::string& lines) const {
    if (!options_.common.json) tools_.console.print(lines);
  }

  const RestoreOptions& options_;
  const RestoreChanges& changes_;
  const RunTools& tools_;
  Progress progress_;
  const std::string server_name_;
  const PrivateConfig config_;
  RestoreOutcome outcome_;
};

// ---- The report -----------------------------------------------------------------------------------------------------

void print_lines(const Console& console, const RestoreOutcome& outcome, const LogFile& log) {
  for (const Warning& warning : outcome.warnings) console.print_error(warning_lines(warning));
  if (outcome.error) console.print_error(error_lines("restore", *outcome.error, log.path()));
  if (!outcome.machines.empty()) console.print(summary_line(outcome));
}

Json as_json(const RestoreOutcome& outcome, const RestoreOptions& options, const Restic& restic, const LogFile& log) {
  const ExitCode code = restore_code(outcome);
  Json object{{"command", "restore"},        {"server", options.common.server_name()},
              {"repository", restic.name()}, {"backup", options.backup},
              {"result", result_word(code)}, {"exit_code", static_cast<int>(code)}};
  object.update(restore_json(outcome));
  object["log_file"] = log.path();
  return object;
}

ExitCode run_restore(const RestoreOptions& options) {
  const RestoreChanges changes = read_changes(options.given);
  const Restic restic = options.repository.open();
  const Secret login = read_login(options.common.login);
  LogFile log(options.common.log_path(), options.common.verbosity);
  const InterruptGuard guard;
  const Console console(log.descriptor());
  const RestoreOutcome outcome = Restore(options, changes, {login, log, console, restic}).run();
  if (options.common.json) {
    console.print(report_text(as_json(outcome, options, restic, log)));
  } else {
    print_lines(console, outcome, log);
  }
  return restore_code(outcome);
}

}  // namespace

void add_restore_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand("restore", "Bring machines back from a backup");
  const auto options = std::make_shared<RestoreOptions>();
  add_common_options(*command, options->common);
  add_repository_options(*command, options->repository);
  command->add_option("BACKUP", options->backup, "The backup's id as list shows it, or \"latest\"")->required();
  command->add_option("MACHINE", options->machines,
                      "Only these of its machines: /SUBSCRIPTION/GROUP/NAME, or as much of its end as tells it");
  command
      ->add_option("--set", options->given.settings,
                   "Configure the machine anew: Size, Vnet, Subnet, Nsg, RgName, SubId, VmName, PowerState, "
                   "BootDiagnostics; put its disks elsewhere: StagingStorageAccount, DiskRg, DiskType, StorageAccount, "
                   "Container (each at most once)")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  command->add_option("--as", options->given.as, "A new name for the machine; the same as --set VmName=NAME")
      ->type_name("NAME");
  command->add_option("--to", options->given.to, "Another place for machines that come back as they were")
      ->type_name("SUBSCRIPTION[/GROUP]");
  command->add_flag("--disks-only", options->given.disks_only, "Restore the disks and make no machine of them");
  command->add_flag("--dry-run", options->dry_run, "Show what would be done, check the target, and make nothing");
  command->footer(exit_code_help());
  command->callback([options, &action] { action = [options] { return run_restore(*options); }; });
}

}  // namespace host
