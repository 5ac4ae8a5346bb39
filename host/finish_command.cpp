#include "host/finish_command.h"

#include <memory>
#include <utility>

#include "host/cloud_frame.h"
#include "host/interrupt.h"
#include "host/machine_work.h"
#include "host/plugin.h"
#include "host/printable.h"
#include "host/private_config.h"
#include "host/snapshot_sweep.h"

namespace host {

namespace {

struct FinishOptions : CloudWork {
  std::string snapshot;
};

std::string lines_of(const SnapshotFindings& found, const std::string& snapshot, bool whole) {
  const std::size_t deleted = found.count(SnapshotState::deleted);
  return failure_lines(found) + "Backup " + printable(snapshot) + (whole ? " is finished: " : " is not finished: ") +
         std::to_string(deleted) + (deleted == 1 ? " snapshot" : " snapshots") + " deleted" +
         (whole ? ", none is left.\n" : ", some may be left.\n  -> Run the command again.\n");
}

void finish(const FinishOptions& options, const CloudTools& tools, CloudAnswer& answer) {
  const CommonOptions& common = options.common;
  answer.members = {{"backup_id", options.snapshot}, {"deleted", 0}, {"failures", nlohmann::ordered_json::array()}};
  const PrivateConfig config(sweep_of_backup, common.config);
  const Plugin plugin(common.plugin_path());
  const SweepRequest request{common.server_name(),
                             {AAPI_SESSION_BACKUP, config.path(), common.credentials, &stop_when_interrupted},
                             options.selections,
                             options.snapshot};
  SweepOutcome outcome = sweep_snapshots(plugin, request, tools.login, tools.log);
  answer.error = std::move(outcome.error);
  const bool whole = outcome.found.is_whole();
  if (!whole) answer.code = ExitCode::partial;
  answer.members["deleted"] = outcome.found.count(SnapshotState::deleted);
  answer.members["failures"] = failures_json(outcome.found);
  answer.lines = lines_of(outcome.found, options.snapshot, whole);
}

}  // namespace

void add_finish_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand("finish", "Delete the snapshots of a backup whose workload files are done");
  const auto options = std::make_shared<FinishOptions>();
  add_common_options(*command, options->common);
  command->add_option("SELECTION", options->selections, "What the discovery was given");
  command->add_option("--snapshot", options->snapshot, "The backup's id: the snapshot name of its workload files")
      ->type_name("ID")
      ->required()
      ->check([](const std::string& id) { return is_backup_id(id) ? "" : "the backup's id is a number"; });
  command->footer(exit_code_help());
  command->callback([options, &action] {
    action = [options] {
      return run_on_cloud("finish", *options,
                          [&](const CloudTools& tools, CloudAnswer& answer) { finish(*options, tools, answer); });
    };
  });
}

}  // namespace host
