#include "host/prune_plan.h"

#include <strings.h>

#include <algorithm>
#include <map>
#include <utility>

#include "host/backup_choice.h"
#include "host/run_record.h"

namespace host {

namespace {

// A manifest that is given up needs to name its streams only so that they go at once; they would go later anyway.
StreamIds named_as_far_as_known(const Restic& restic, const std::vector<ManifestEntry>& manifests) {
  StreamIds named;
  for (const ManifestEntry& manifest : manifests) {
    try {
      named.merge(named_streams(restic, {manifest}));
    } catch (const std::runtime_error&) {
      continue;
    }
  }
  return named;
}

// When something of a backup was stored last, by the backup's id.
std::map<std::string, std::int64_t> last_activity(const std::vector<ResticSnapshot>& streams,
                                                  const std::vector<ManifestEntry>& manifests) {
  std::map<std::string, std::int64_t> times;
  const auto add = [&](const std::string& backup_id, const std::string& time) {
    std::int64_t& last = times[backup_id];
    last = std::max(last, seconds_of(time));
  };
  for (const ResticSnapshot& stream : streams) add(stream.tag("backup"), stream.time);
  for (const ManifestEntry& manifest : manifests) add(manifest.backup_id, manifest.snapshot.time);
  return times;
}

std::vector<std::string> unnamed(const std::vector<ResticSnapshot>& streams, const StreamIds& named) {
  std::vector<std::string> ids;
  for (const ResticSnapshot& stream : streams) {
    if (named.count(stream.id) == 0) ids.push_back(stream.id);
  }
  return ids;
}

std::vector<ResticSnapshot> outdated_runs(const Restic& restic, const std::vector<ManifestEntry>& kept) {
  if (kept.empty()) return {};
  const std::string& oldest = kept.front().snapshot.time;
  std::vector<ResticSnapshot> runs = list_runs(restic);
  runs.erase(std::remove_if(runs.begin(), runs.end(),
                            [&](const ResticSnapshot& run) { return !is_earlier(run.time, oldest); }),
             runs.end());
  return runs;
}

StreamIds manifests_of(const std::vector<ManifestEntry>& manifests, const std::string& machine) {
  StreamIds ids;
  for (const ManifestEntry& manifest : manifests) {
    if (::strcasecmp(manifest.machine.c_str(), machine.c_str()) == 0) ids.insert(manifest.snapshot.id);
  }
  if (ids.empty()) throw NotInRepository("the repository holds no backup of " + machine);
  return ids;
}

}  // namespace

StreamIds named_streams(const Restic& restic, const std::vector<ManifestEntry>& manifests) {
  StreamIds named;
  for (const ManifestEntry& manifest : manifests) {
    std::vector<std::string> ids = manifest.snapshot.tags_named(stream_tag_name);
    if (ids.empty()) {
      for (SavedDisk& disk : load_manifest(restic, manifest).disks) ids.push_back(std::move(disk.snapshot));
    }
    named.insert(ids.begin(), ids.end());
  }
  return named;
}

PrunePlan plan_prune(const Restic& restic, const std::vector<std::string>& rules, std::int64_t oldest_running,
                     const std::vector<std::string>& retired) {
  PrunePlan plan;
  std::vector<ResticSnapshot> streams = restic.snapshots(disk_tag);  // before the manifests that may name them
  const std::vector<ManifestEntry> manifests = list_manifests(restic);
  const std::vector<std::string> superseded =
      rules.empty() ? std::vector<std::string>{} : restic.superseded(manifest_tag, rules);
  StreamIds given_up(superseded.begin(), superseded.end());
  for (const std::string& machine : retired) given_up.merge(manifests_of(manifests, machine));
  for (const ManifestEntry& manifest : manifests) {
    (given_up.count(manifest.snapshot.id) == 0 ? plan.kept : plan.removed).push_back(manifest);
  }
  const StreamIds needed = named_streams(restic, plan.kept);
  const StreamIds freed = named_as_far_as_known(restic, plan.removed);
  const auto activity = last_activity(streams, manifests);
  for (ResticSnapshot& stream : streams) {
    if (needed.count(stream.id) != 0) continue;
    if (freed.count(stream.id) != 0) {
      plan.streams.push_back(std::move(stream));
    } else if (activity.at(stream.tag("backup")) < oldest_running) {
      plan.leftovers.push_back(std::move(stream));
    }
  }
  plan.runs = outdated_runs(restic, plan.kept);
  return plan;
}

// Whatever happens in between, no manifest stands whose streams are gone.
void carry_out(const Restic& restic, const PrunePlan& plan) {
  std::vector<std::string> manifests;
  for (const ManifestEntry& manifest : plan.removed) manifests.push_back(manifest.snapshot.id);
  restic.forget(manifests);
  const StreamIds named = named_streams(restic, list_manifests(restic));
  std::vector<std::string> streams = unnamed(plan.streams, named);
  const std::vector<std::string> leftovers = unnamed(plan.leftovers, named);
  streams.insert(streams.end(), leftovers.begin(), leftovers.end());
  for (const ResticSnapshot& run : plan.runs) streams.push_back(run.id);
  restic.forget(streams);
  restic.prune();
}

}  // namespace host
