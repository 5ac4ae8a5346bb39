#include "host/protection.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <tuple>
#include <utility>

#include "host/backup_events.h"
#include "host/byte_text.h"
#include "host/interrupt.h"
#include "host/outcome.h"
#include "host/printable.h"
#include "host/run_record.h"
#include "host/saved_machine.h"
#include "host/stored_ranges.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

// Names in Azure Stack are the same in any letter case.
std::string key_of(std::string path) {
  std::transform(path.begin(), path.end(), path.begin(),
                 [](char byte) { return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte; });
  return path;
}

// The records of the newest backups, oldest first.
std::vector<ResticSnapshot> newest_runs(const Restic& restic, std::size_t most) {
  std::vector<ResticSnapshot> snapshots = list_runs(restic);
  std::vector<std::string> ids;
  for (auto at = snapshots.rbegin(); at != snapshots.rend(); ++at) {
    const std::string id = at->tag("backup");
    if (std::find(ids.begin(), ids.end(), id) == ids.end() && ids.size() < most) ids.push_back(id);
  }
  snapshots.erase(std::remove_if(snapshots.begin(), snapshots.end(),
                                 [&](const ResticSnapshot& snapshot) {
                                   return std::find(ids.begin(), ids.end(), snapshot.tag("backup")) == ids.end();
                                 }),
                  snapshots.end());
  return snapshots;
}

class Reader {
 public:
  Reader(const Restic& restic, const ProtectionQuery& query, Progress& progress)
      : restic_(restic), query_(query), progress_(progress) {}

  ProtectionState read() {
    state_.now = query_.now;
    state_.stale_seconds = query_.stale_seconds;
    streams_ = list_streams(restic_);
    for (ManifestEntry& entry : list_manifests(restic_)) {
      MachineState& machine = machines_[key_of(entry.machine)];
      machine.path = entry.machine;
      machine.time = seconds_of(entry.snapshot.time);
      machine.backup_id = entry.backup_id;
      ++machine.backups;
      newest_.insert_or_assign(key_of(entry.machine), std::move(entry));
    }
    read_runs();
    for (auto& [key, machine] : machines_) finish(key, machine);
    std::sort(state_.machines.begin(), state_.machines.end(), [](const auto& left, const auto& right) {
      const auto rank = [](const MachineState& machine) {
        return std::make_tuple(machine.protection == Protection::current, machine.path);
      };
      return rank(left) < rank(right);
    });
    return std::move(state_);
  }

 private:
  void read_runs() {
    for (const ResticSnapshot& snapshot : newest_runs(restic_, query_.runs)) {
      check_interrupt();
      progress_.begin("backup " + printable(snapshot.tag("backup")));
      try {
        add(load_run(restic_, snapshot));
      } catch (const ManifestError& error) {
        run_of(snapshot.tag("backup")).error = error.what();
      } catch (const ResticError& error) {
        run_of(snapshot.tag("backup")).error = error.what();
      }
      progress_.end();
    }
  }

  RunState& run_of(const std::string& backup_id) {
    const auto known = std::find_if(state_.runs.begin(), state_.runs.end(),
                                    [&](const RunState& run) { return run.backup_id == backup_id; });
    if (known != state_.runs.end()) return *known;
    state_.runs.emplace_back();
    state_.runs.back().backup_id = backup_id;
    return state_.runs.back();
  }

  void add(const RunRecord& record) {
    const BackupOutcome& outcome = record.outcome;
    RunState& run = run_of(outcome.backup_id);
    run.begin = run.begin == 0 ? record.begin : std::min(run.begin, record.begin);
    run.end = std::max(run.end, record.end);
    if (outcome.error) run.error = outcome.error->what;
    for (const MachineResult& result : outcome.machines) add(run, record.end, result);
    for (const LeftOut& refused : outcome.discovery.refused) {
      MachineResult result;
      result.machine = refused.what;
      result.problem = refused.why;
      result.next =
          "Mend that, or leave the machine out of the selections; azsbackup discover tells whether it is found.";
      add(run, record.end, result);
    }
  }

  void add(RunState& run, std::int64_t end, const MachineResult& result) {
    MachineRun one{run.backup_id,  end,        result.is_protected, 0, result.added, result.seconds,
                   result.problem, result.next};
    for (const SavedDisk& disk : result.disks) one.read += disk.stream_bytes;
    ++(result.is_protected ? run.protected_machines : run.failed_machines);
    run.read += one.read;
    run.added += one.added;
    MachineState& machine = machines_[key_of(result.machine)];
    if (machine.path.empty()) machine.path = result.machine;
    machine.runs.push_back(std::move(one));
  }

  void finish(const std::string& key, MachineState& machine) {
    check_interrupt();
    const auto newest = newest_.find(key);
    if (newest != newest_.end()) read_newest(newest->second, machine);
    judge(machine);
    state_.machines.push_back(std::move(machine));
  }

  void read_newest(const ManifestEntry& entry, MachineState& machine) {
    progress_.begin(printable(entry.machine));
    try {
      Manifest manifest = load_manifest(restic_, entry);
      machine.crash_consistent = manifest.crash_consistent;
      check_manifest(manifest, entry.machine);
      for (SavedDisk& disk : manifest.disks) machine.disks.push_back(read_ranges_of(std::move(disk)));
    } catch (const ManifestError& error) {
      machine.problem = std::string("its newest backup is damaged: ") + error.what();
    } catch (const ResticError& error) {
      machine.problem = std::string("its newest backup cannot be read: ") + error.what();
    }
    progress_.end();
  }

  DiskState read_ranges_of(SavedDisk disk) const {
    DiskState state{std::move(disk), {}, ""};
    try {
      state.ranges = read_ranges(restic_, streams_, state.disk);
    } catch (const DamagedStream& error) {
      state.problem = error.what();
    } catch (const ResticError& error) {
      state.problem = error.what();
    }
    return state;
  }

  void judge(MachineState& machine) const {
    const auto damaged = std::find_if(machine.disks.begin(), machine.disks.end(),
                                      [](const DiskState& disk) { return !disk.problem.empty(); });
    if (damaged != machine.disks.end()) machine.problem = printable(damaged->disk.path) + ": " + damaged->problem;
    if (!machine.problem.empty()) {
      machine.protection = Protection::failed;
      machine.next = "Run azsbackup verify, then a backup.";
    } else if (!machine.runs.empty() && !machine.runs.back().is_protected && machine.runs.back().end >= machine.time) {
      machine.protection = Protection::failed;
      machine.problem = machine.runs.back().problem;
      machine.next = machine.runs.back().next;
    } else if (state_.now - machine.time > static_cast<std::int64_t>(state_.stale_seconds)) {
      machine.protection = Protection::stale;
      machine.problem = "no run has protected it since " + time_text(machine.time);
      machine.next = "See that the nightly backup runs and that its selections hold the machine.";
    }
  }

  const Restic& restic_;
  const ProtectionQuery& query_;
  Progress& progress_;
  StoredStreams streams_;
  std::map<std::string, MachineState> machines_;
  std::map<std::string, ManifestEntry> newest_;
  ProtectionState state_;
};

Json time_or_null(std::int64_t seconds) { return seconds == 0 ? Json() : Json(time_text(seconds)); }

Json as_json(const DiskState& state) {
  Json object = disk_json(state.disk);
  object["ranges"] = state.problem.empty() ? Json(state.ranges.size()) : Json();
  object["problem"] = text_or_null(state.problem);
  return object;
}

Json as_json(const MachineRun& run) {
  return {{"backup_id", run.backup_id},
          {"time", time_text(run.end)},
          {"protected", run.is_protected},
          {"read_bytes", run.read},
          {"added_bytes", run.added},
          {"seconds", run.seconds},
          {"problem", text_or_null(run.problem)}};
}

Json as_json(const MachineState& machine) {
  Json object{{"path", machine.path},
              {"protection", word(machine.protection)},
              {"problem", text_or_null(machine.problem)},
              {"next", text_or_null(machine.next)},
              {"newest", time_or_null(machine.time)},
              {"newest_backup_id", text_or_null(machine.backup_id)},
              {"backups", machine.backups},
              {"crash_consistent", machine.crash_consistent},
              {"disks", Json::array()},
              {"runs", Json::array()}};
  for (const DiskState& disk : machine.disks) object["disks"].push_back(as_json(disk));
  for (const MachineRun& run : machine.runs) object["runs"].push_back(as_json(run));
  return object;
}

Json as_json(const RunState& run) {
  return {{"backup_id", run.backup_id},    {"begin", time_or_null(run.begin)},
          {"end", time_or_null(run.end)},  {"protected", run.protected_machines},
          {"failed", run.failed_machines}, {"read_bytes", run.read},
          {"added_bytes", run.added},      {"error", text_or_null(run.error)}};
}

}  // namespace

std::size_t ProtectionState::count(Protection protection) const {
  return static_cast<std::size_t>(std::count_if(
      machines.begin(), machines.end(), [&](const MachineState& machine) { return machine.protection == protection; }));
}

ProtectionState read_protection(const Restic& restic, const ProtectionQuery& query, Progress& progress) {
  return Reader(restic, query, progress).read();
}

Json protection_json(const ProtectionState& state) {
  Json object{{"time", time_text(state.now)}, {"machines", Json::array()}, {"runs", Json::array()}};
  for (const MachineState& machine : state.machines) object["machines"].push_back(as_json(machine));
  for (const RunState& run : state.runs) object["runs"].push_back(as_json(run));
  return object;
}

const char* word(Protection protection) {
  switch (protection) {
    case Protection::current:
      return "current";
    case Protection::failed:
      return "failed";
    default:
      return "stale";
  }
}

}  // namespace host
