#include "host/run_record.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "host/backup_events.h"
#include "host/outcome.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* run_path = "/run.json";
constexpr int run_version = 1;
constexpr std::size_t longest_record = 64U << 20U;

RunRecord record_of(const Json& object) {
  if (object.at("version") != run_version) throw ManifestError("the record of a run is of another version");
  RunRecord record{object.at("begin"), object.at("end"), {}};
  BackupOutcome& outcome = record.outcome;
  outcome.backup_id = object.at("backup_id");
  for (const Json& machine : object.at("machines")) outcome.machines.push_back(read_machine(machine));
  for (const Json& refused : object.at("refused")) {
    outcome.discovery.refused.push_back({refused.at("path"), refused.at("reason")});
  }
  const Json& error = object.at("error");
  if (!error.is_null()) {
    outcome.error = Finding{Stage::azure_stack, static_cast<ExitCode>(error.at("exit_code").get<int>()),
                            error.at("what"), error.at("next")};
  }
  return record;
}

}  // namespace

void store_run(const Restic& restic, const RunRecord& record) {
  Json object{{"version", run_version}, {"begin", record.begin}, {"end", record.end}};
  object.update(backup_json(record.outcome));
  const std::string text = report_text(object);
  ResticUpload upload(restic, run_path, {run_tag, backup_tag(record.outcome.backup_id)});
  upload.write(text.data(), text.size());
  upload.finish();
}

std::vector<ResticSnapshot> list_runs(const Restic& restic) { return restic.snapshots(run_tag); }

RunRecord load_run(const Restic& restic, const ResticSnapshot& snapshot) {
  std::string text;
  restic.dump(snapshot, [&](const char* data, std::size_t size) {
    if (text.size() + size > longest_record) throw ManifestError("the record of a run is too long to be one");
    text.append(data, size);
  });
  try {
    return record_of(Json::parse(text));
  } catch (const Json::exception& error) {
    throw ManifestError(std::string("the record of a run cannot be read: ") + error.what());
  }
}

}  // namespace host
