#include "host/snapshots_command.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/byte_text.h"
#include "host/cloud_frame.h"
#include "host/interrupt.h"
#include "host/plugin.h"
#include "host/printable.h"
#include "host/private_config.h"
#include "host/snapshot_sweep.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

// The clean-up after a backup, of no backup in particular: the sweep by age. With an age that no snapshot has it looks
// at all of them and deletes none.
constexpr const char* sweep_settings = "VM_SNAPSHOT_IN_DISCOVERY=false\nENABLE_SNAPSHOT_CLEANUP=1\n";
constexpr const char* look_only_setting = "SNAPSHOT_CLEANUP_MIN=2147483647\n";

struct SnapshotsOptions : CloudWork {
  bool sweep = false;
};

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

std::string lines_of(const SnapshotFindings& found) {
  const std::size_t count = found.snapshots.size();
  return (count == 0 ? "" : table(found.snapshots) + "\n") + failure_lines(found) + std::to_string(count) +
         (count == 1 ? " snapshot" : " snapshots") + " of backups found, " +
         std::to_string(found.count(SnapshotState::deleted)) + " deleted.\n";
}

Json as_json(const StandingSnapshot& snapshot) {
  return {{"id", snapshot.id},
          {"managed", snapshot.managed},
          {"place", snapshot.place},
          {"disk", snapshot.disk},
          {"backup_id", snapshot.backup_id == 0 ? Json() : Json(std::to_string(snapshot.backup_id))},
          {"state", word(snapshot.state)}};
}

// ---- The work -------------------------------------------------------------------------------------------------------

void look(const SnapshotsOptions& options, const CloudTools& tools, CloudAnswer& answer) {
  const CommonOptions& common = options.common;
  answer.members = {{"sweep", options.sweep}, {"snapshots", Json::array()}, {"failures", Json::array()}};
  const PrivateConfig config(std::string(sweep_settings) + (options.sweep ? "" : look_only_setting), common.config);
  const Plugin plugin(common.plugin_path());
  const SweepRequest request{common.server_name(),
                             {AAPI_SESSION_BACKUP, config.path(), common.credentials, &stop_when_interrupted},
                             options.selections,
                             ""};
  SweepOutcome outcome = sweep_snapshots(plugin, request, tools.login, tools.log);
  answer.error = std::move(outcome.error);
  const SnapshotFindings& found = outcome.found;
  for (const StandingSnapshot& snapshot : found.snapshots) answer.members["snapshots"].push_back(as_json(snapshot));
  answer.members["failures"] = failures_json(found);
  if (!found.is_whole()) answer.code = ExitCode::partial;
  answer.lines = lines_of(found);
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
  command->callback([options, &action] {
    action = [options] {
      return run_on_cloud("snapshots", *options,
                          [&](const CloudTools& tools, CloudAnswer& answer) { look(*options, tools, answer); });
    };
  });
}

}  // namespace host
