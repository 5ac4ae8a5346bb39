#include "host/backup_command.h"

#include <ctime>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/backup_events.h"
#include "host/backup_run.h"
#include "host/errors.h"
#include "host/interrupt.h"
#include "host/printable.h"
#include "host/run_record.h"
#include "host/selection.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

void print_lines(const Console& console, const BackupOutcome& outcome, const LogFile& log) {
  for (const Warning& warning : outcome.warnings) console.print_error(warning_lines(warning));
  if (outcome.error) console.print_error(error_lines("backup", *outcome.error, log.path()));
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

// A job would find nothing in what this process has read: a pipe, say.
void require_lasting_file(const std::string& path) {
  if (path.empty() || !std::filesystem::exists(path) || std::filesystem::is_regular_file(path)) return;
  throw UsageError(path + " is no regular file; with --jobs each job reads it anew");
}

void check(const BackupOptions& options) {
  if (!options.workload.empty() && !options.selections.empty()) {
    throw UsageError("--workload takes the place of selections; give one or the other");
  }
  if (options.jobs == 0) return;
  require_lasting_file(options.common.config);
  require_lasting_file(options.common.login.password_file);
}

void tell(const Console& console, const BackupOutcome& outcome, const BackupOptions& options, const Restic& restic,
          const LogFile& log) {
  if (options.has_lines()) {
    print_lines(console, outcome, log);
    return;
  }
  const Json report = as_json(outcome, options, restic, log);
  console.print(options.events ? end_event_line(report) : report_text(report));
}

// For the report. What the backup protects does not depend on it.
void keep_record(RunRecord& run, const Restic& restic) {
  const std::optional<Finding>& error = run.outcome.error;
  if (run.outcome.backup_id.empty() || (error && error->code == ExitCode::repository)) return;
  run.end = std::time(nullptr);
  try {
    RunRecord own = run;
    std::erase_if(own.outcome.machines, [](const MachineResult& machine) { return machine.is_earlier; });
    store_run(restic, own);
  } catch (const Interrupted&) {
    return;
  } catch (const std::exception& failure) {
    run.outcome.warnings.push_back({std::string("the record of this run is not in the repository: ") + failure.what(),
                                    "azsbackup report will not tell of what failed in it."});
  }
}

ExitCode run(BackupOptions options) {
  check(options);
  if (options.workload.empty()) options.selections = read_selections(options.selections);
  const Restic restic = options.repository.open();
  const Secret login = read_login(options.common.login);
  LogFile log(options.common.log_path(), options.common.verbosity);
  const InterruptGuard guard;
  const Console console(log.descriptor());
  RunRecord run{std::time(nullptr), 0, run_backup(options, {login, log, console, restic})};
  if (!options.events) keep_record(run, restic);  // else that is for whoever reads the events
  tell(console, run.outcome, options, restic, log);
  return backup_code(run.outcome);
}

}  // namespace

void add_backup_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand("backup", "Back machines up into a restic repository");
  const auto options = std::make_shared<BackupOptions>();
  add_common_options(*command, options->common);
  add_repository_options(*command, options->repository);
  command->add_option("SELECTION", options->selections,
                      "What to back up: /SUBSCRIPTION, /SUBSCRIPTION/GROUP or /SUBSCRIPTION/GROUP/MACHINE");
  auto* jobs = command
                   ->add_option("--jobs", options->jobs,
                                "Work on so many parts of the selection at once, each in a process of its own")
                   ->type_name("N")
                   ->check(CLI::Range(1, 8));
  command
      ->add_option("--workload", options->workload,
                   "Back up what this workload file of a discovery names; end such a backup with finish")
      ->type_name("FILE")
      ->excludes(jobs);
  command
      ->add_option("--retry-lock", options->lock_minutes,
                   "Wait so long while prune or verify has the repository to itself [60]")
      ->type_name("MINUTES")
      ->check(CLI::Range(0, 10'000));
  command->add_flag("--init", options->init, "Make the repository when it cannot be opened");
  command
      ->add_flag("--json-lines", options->events,
                 "Print a JSON object in each line: machines as soon as they are done, the report at the end")
      ->excludes("--json");
  command->footer(exit_code_help());
  command->callback([options, &action] { action = [options] { return run(*options); }; });
}

}  // namespace host
