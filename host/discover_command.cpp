#include "host/discover_command.h"

#include <memory>
#include <variant>

#include "host/backup_id.h"
#include "host/cloud_frame.h"
#include "host/discovery_run.h"
#include "host/interrupt.h"
#include "host/plugin.h"
#include "host/printable.h"
#include "host/private_config.h"
#include "host/private_folder.h"
#include "host/session.h"

namespace host {

namespace {

// A discovery takes a snapshot of every disk unless it is told otherwise, and deletes stale ones when the configuration
// says so. Somebody who only looks wants neither, whatever the configuration says for backups.
constexpr const char* look_only_settings = "VM_SNAPSHOT_IN_DISCOVERY=false\nENABLE_SNAPSHOT_CLEANUP=0\n";

struct DiscoverOptions : CloudWork {
  std::string keep;
  bool snapshots = false;
};

std::string lines_of(const Discovery& discovery, const DiscoverOptions& options) {
  return discovery_tree(discovery, options.common.verbosity > 0) +
         (options.keep.empty() ? "" : "Workload files: " + printable(options.keep) + "\n");
}

// Ends what a discovery with snapshots began.
std::string finish_line(const BackupId& id) { return "azsbackup finish --snapshot " + id.text() + " SELECTION..."; }

// Every member stands in every object, so that a program need not ask which outcome has which.
void discover(const DiscoverOptions& options, const CloudTools& tools, CloudAnswer& answer) {
  const CommonOptions& common = options.common;
  const BackupId id;
  const auto set_members = [&](const Discovery& discovery) {
    answer.members = discovery_json(discovery);
    answer.members["backup_id"] = text_or_null(options.keep.empty() ? "" : id.text());
    answer.members["workload_folder"] = text_or_null(options.keep);
  };
  set_members({});
  const PrivateFolder folder(options.keep);
  const PrivateConfig config(options.snapshots ? "" : look_only_settings, common.config);
  const Plugin plugin(common.plugin_path());
  Session session(plugin, {AAPI_SESSION_DISCOVERY, config.path(), common.credentials, &stop_when_interrupted},
                  tools.log, is_discovery_evidence);
  const DiscoveryOutcome outcome =
      run_discovery(session, {common.server_name(), options.selections, folder.path(), id.text()}, tools.login);
  answer.warnings.insert(answer.warnings.end(), outcome.warnings.begin(), outcome.warnings.end());
  answer.code = outcome.code();
  if (const auto* finding = std::get_if<Finding>(&outcome.result)) {
    answer.error = *finding;
    if (options.snapshots)
      answer.warnings.push_back({"snapshots of this discovery may be left", "Run: " + finish_line(id)});
    return;
  }
  const Discovery& discovery = std::get<Discovery>(outcome.result);
  set_members(discovery);
  answer.lines = lines_of(discovery, options);
  if (options.snapshots)
    answer.lines += "Backup " + id.text() + ". When the files are backed up: " + finish_line(id) + "\n";
}

}  // namespace

void add_discover_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand(
      "discover", "Show the machines and disks that a backup would protect, without taking snapshots");
  const auto options = std::make_shared<DiscoverOptions>();
  add_common_options(*command, options->common);
  command->add_option("SELECTION", options->selections,
                      "What to look at: /SUBSCRIPTION, /SUBSCRIPTION/GROUP or /SUBSCRIPTION/GROUP/MACHINE");
  auto* keep = command
                   ->add_option("--keep", options->keep,
                                "Make this folder, which must not exist yet, and leave the workload files in it")
                   ->type_name("DIR");
  command
      ->add_flag("--snapshots", options->snapshots,
                 "Begin a backup: take snapshots as the configuration says, for backup --workload and then finish")
      ->needs(keep);
  command->footer(exit_code_help());
  command->callback([options, &action] {
    action = [options] {
      return run_on_cloud("discover", *options,
                          [&](const CloudTools& tools, CloudAnswer& answer) { discover(*options, tools, answer); });
    };
  });
}

}  // namespace host
