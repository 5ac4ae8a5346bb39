#include "host/backup_run.h"

#include <algorithm>
#include <utility>

#include "host/backup_events.h"
#include "host/backup_id.h"
#include "host/backup_jobs.h"
#include "host/interrupt.h"
#include "host/manifest.h"
#include "host/plugin.h"
#include "host/private_config.h"
#include "host/private_folder.h"
#include "host/repository_hold.h"
#include "host/snapshot_sweep.h"
#include "host/workload_file.h"

namespace host {

namespace {

constexpr const char* after_signal = "Run the backup again; what is stored already is not stored twice.";

ProgressStyle progress_style(const BackupOptions& options) {
  if (options.events) return ProgressStyle::events;
  return options.common.json ? ProgressStyle::none : ProgressStyle::screen;
}

// As many workload files as jobs.
std::string stream_setting(unsigned jobs) {
  return jobs == 0 ? "" : "NO_OF_BACKUP_STREAMS_PER_NODE=" + std::to_string(jobs) + "\n";
}

void add_once(std::vector<Warning>& warnings, const Warning& warning) {
  const bool known =
      std::any_of(warnings.begin(), warnings.end(), [&](const Warning& other) { return other.what == warning.what; });
  if (!known) warnings.push_back(warning);
}

/// Its steps fill the outcome.
class Backup {
 public:
  Backup(const BackupOptions& options, const RunTools& tools)
      : options_(options),
        tools_(tools),
        progress_(tools.console, progress_style(options)),
        server_name_(options.common.server_name()),
        config_(stream_setting(options.jobs), options.common.config) {}

  BackupOutcome run() {
    warn_of_store(outcome_.warnings, options_.common.credentials);
    const auto failure = finding_of(
        [&] {
          prepare_repository();
          const Plugin plugin(options_.common.plugin_path());
          if (options_.workload.empty()) {
            back_up_selections(plugin);
          } else {
            back_up_file(plugin);
          }
        },
        after_signal);
    if (failure) fail(*failure);
    return std::move(outcome_);
  }

 private:
  void fail(Finding finding) { outcome_.error = std::move(finding); }

  // Before anything is asked of the cloud: snapshots that nobody can store would be in vain.
  void prepare_repository() {
    try {
      claim_repository();
    } catch (const RepositoryInUse&) {
      throw;
    } catch (const ResticError&) {
      if (!options_.init || !initialized()) throw;
      claim_repository();
    }
  }

  // For a job its parent does it.
  void claim_repository() {
    if (options_.events) {
      tools_.restic.open();
    } else {
      hold_ = hold_repository(tools_.restic, wait_minutes(options_.lock_minutes, [this] { tell_of_wait(); }));
    }
  }

  void tell_of_wait() const {
    const std::string line = "prune or verify works on the repository; waiting up to " +
                             std::to_string(options_.lock_minutes) + " minutes for it";
    tools_.log.write(AAPI_LOG_ERROR, line);
    if (options_.has_lines()) tools_.console.print_error("azsbackup: " + line + "\n");
  }

  bool initialized() const {
    try {
      tools_.restic.init();
      return true;
    } catch (const ResticError& error) {
      tools_.log.write(AAPI_LOG_ERROR, error.what());
      return false;
    }
  }

  SessionSettings settings(std::uint32_t kind) const {
    return {kind, config_.path(), options_.common.credentials, &stop_when_interrupted};
  }

  // A discovery may have taken snapshots before it failed or was stopped; they go as those of a whole one do.
  void back_up_selections(const Plugin& plugin) {
    const PrivateFolder folder("");
    const BackupId id;
    outcome_.backup_id = id.text();
    DiscoveryOutcome found = discover(plugin, folder.path());
    outcome_.warnings.insert(outcome_.warnings.end(), found.warnings.begin(), found.warnings.end());
    const auto* finding = std::get_if<Finding>(&found.result);
    try {
      check_interrupt();
      if (finding != nullptr) {
        fail(*finding);
      } else {
        outcome_.discovery = std::get<Discovery>(std::move(found.result));
        back_up_files(plugin, workload_files(folder.path()));
      }
    } catch (const std::exception&) {  // such as output that nobody reads any more
      finish(plugin);
      throw;
    }
    if (finding == nullptr || finding->code == ExitCode::failed) finish(plugin);  // else nothing can be reached
  }

  DiscoveryOutcome discover(const Plugin& plugin, const std::string& folder) const {
    Session session(plugin, settings(AAPI_SESSION_DISCOVERY), tools_.log, is_discovery_evidence);
    return run_discovery(session, {server_name_, options_.selections, folder, outcome_.backup_id}, tools_.login);
  }

  void back_up_files(const Plugin& plugin, const std::vector<std::string>& files) {
    if (options_.jobs > 0) {
      back_up_in_jobs(files);
    } else {
      with_server(plugin, [&](const BackupTools& tools) { back_up_all(tools, read_machine_work(files)); });
    }
  }

  void back_up_file(const Plugin& plugin) {
    auto work = read_machine_work({options_.workload});
    if (!work.empty()) outcome_.backup_id = work.front().snapshot_name;
    if (!options_.events) take_done(work);  // else it is a job of a backup that has just begun
    with_server(plugin, [&](const BackupTools& tools) { back_up_all(tools, work); });
  }

  // A scheduler starts a task anew that was killed. What it had done is kept: the snapshots of those machines are gone.
  void take_done(std::vector<MachineWork>& work) {
    const std::vector<ManifestEntry> manifests = list_manifests(tools_.restic);
    std::erase_if(work, [&](const MachineWork& machine) {
      const auto done = std::find_if(manifests.rbegin(), manifests.rend(), [&](const ManifestEntry& entry) {
        return entry.machine == machine.machine.path && entry.backup_id == machine.snapshot_name;
      });
      if (done == manifests.rend()) return false;
      MachineResult result;
      result.machine = done->machine;
      result.is_protected = result.is_earlier = true;
      result.manifest = done->snapshot.id;
      result.warnings.push_back({"an earlier run of its workload file has backed it up", "It is not read again."});
      add(std::move(result));
      return true;
    });
  }

  template <typename Body>
  void with_server(const Plugin& plugin, const Body& body) {
    Session session(plugin, settings(AAPI_SESSION_BACKUP), tools_.log);
    std::optional<Server> server;
    if (auto refused = open_server(server, session, server_name_, tools_.login)) {
      fail(std::move(*refused));
    } else {
      body(BackupTools{session, *server, server_name_, tools_.restic, progress_});
    }
  }

  // After a signal what is left of the backup is not tried, but its end is done as ever: the snapshots have to go.
  void back_up_all(const BackupTools& tools, const std::vector<MachineWork>& work) {
    const auto stopped = finding_of(
        [&] {
          for (const MachineWork& machine : work) {
            if (machine.machine.path.empty()) {
              query_folders(tools, machine);
            } else if (!is_refused(machine.machine.path)) {
              add(back_up_machine(tools, machine));
            }
          }
          check_interrupt();  // the signal that stopped the plug-in in the last machine
        },
        after_signal);
    if (!stopped) return;
    fail(*stopped);
    add_untried(work, *stopped);
  }

  // What a job did not get to, or was at when it was killed, is not protected; the others are not touched by it.
  void back_up_in_jobs(const std::vector<std::string>& files) {
    JointProgress progress(tools_.console, !options_.has_lines());
    const auto ends =
        run_jobs(job_command(options_.common, options_.repository.access), files, progress, [&](MachineResult result) {
          if (!is_refused(result.machine)) add(std::move(result));
        });
    if (const auto stopped = finding_of(check_interrupt, after_signal)) fail(*stopped);
    for (std::size_t at = 0; at < files.size(); ++at) take_end(ends[at], read_machine_work({files[at]}));
  }

  void take_end(const JobEnd& end, const std::vector<MachineWork>& work) {
    for (const Warning& warning : end.warnings) add_once(outcome_.warnings, warning);
    const Finding why = end.error.value_or(
        Finding{Stage::azure_stack, ExitCode::failed, "its job did not tell of it", "Run the backup again."});
    if (add_untried(work, outcome_.error.value_or(why)) && !outcome_.error) fail(why);
  }

  bool is_refused(const std::string& path) const {
    const auto& refused = outcome_.discovery.refused;
    return std::any_of(refused.begin(), refused.end(), [&](const LeftOut& entry) { return entry.what == path; });
  }

  // What its disks fail with is but a consequence.
  void explain(MachineResult& result) const {
    const auto& without = outcome_.discovery.unsnapshotted;
    const auto found = std::find_if(without.begin(), without.end(),
                                    [&](const LeftOut& entry) { return entry.what == result.machine; });
    if (result.is_protected || found == without.end()) return;
    result.problem = found->why + "; " + result.problem;
    if (outcome_.discovery.snapshots_forbidden) result.next = role_advice;
  }

  void add(MachineResult result) {
    explain(result);
    if (options_.events) {
      tools_.console.print(event_line(result));
    } else if (!options_.common.json) {
      tools_.console.print(machine_lines(result));
    }
    outcome_.machines.push_back(std::move(result));
  }

  // True when there is such a machine.
  bool add_untried(const std::vector<MachineWork>& work, const Finding& why) {
    const std::size_t before = outcome_.machines.size();
    for (const MachineWork& machine : work) {
      const std::string& path = machine.machine.path;
      const bool done = path.empty() || is_refused(path) ||
                        std::any_of(outcome_.machines.begin(), outcome_.machines.end(),
                                    [&](const MachineResult& result) { return result.machine == path; });
      if (done) continue;
      MachineResult result;
      result.machine = path;
      result.problem = why.what;
      result.next = why.next;
      add(std::move(result));
    }
    return outcome_.machines.size() > before;
  }

  void finish(const Plugin& plugin) {
    const PrivateConfig config(sweep_of_backup, config_.path());
    SessionSettings with_sweep = settings(AAPI_SESSION_BACKUP);
    with_sweep.config_path = config.path();
    const SweepOutcome swept =
        sweep_snapshots(plugin, {server_name_, std::move(with_sweep), options_.selections, outcome_.backup_id},
                        tools_.login, tools_.log);
    const std::string next = "Run: azsbackup finish --snapshot " + outcome_.backup_id + " SELECTION...";
    if (swept.error) {
      outcome_.warnings.push_back({"snapshots of this backup may be left: " + swept.error->what, next});
      return;
    }
    for (const LeftOut& failure : swept.found.failures) {
      outcome_.warnings.push_back({"snapshots of this backup may be left: " + failure.what + ", " + failure.why, next});
    }
    const std::size_t left = swept.found.count(SnapshotState::failed);
    if (left > 0) outcome_.warnings.push_back({std::to_string(left) + " of its snapshots could not be deleted", next});
  }

  const BackupOptions& options_;
  const RunTools& tools_;
  Progress progress_;
  const std::string server_name_;
  const PrivateConfig config_;
  RepositoryHold hold_;
  BackupOutcome outcome_;
};

}  // namespace

BackupOutcome run_backup(const BackupOptions& options, const RunTools& tools) { return Backup(options, tools).run(); }

}  // namespace host
