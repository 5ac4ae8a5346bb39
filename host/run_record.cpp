#include "host/run_record.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "host/backup_events.h"
#include "host/outcome.h"
#include "host/whole_number.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* run_path = "/run.json";
constexpr std::uint64_t run_version = 1;
constexpr std::uint64_t latest_time = 253'402'300'799;  // the year 9999 ends
constexpr std::size_t longest_record = 64U << 20U;

std::int64_t time_of(const Json& seconds) {
  const std::uint64_t number = whole_number(seconds);
  if (number > latest_time) throw ManifestError("the record of a run tells an impossible time");
  return static_cast<std::int64_t>(number);
}

RunRecord record_of(const Json& object) {
  if (whole_number(object.at("version")) != run_version)
    throw ManifestError("the record of a run is of another version");
  RunRecord record{time_of(object.at("begin")), time_of(object.at("end")), {}};
  if (record.end < record.begin) throw ManifestError("the record of a run ends before it begins");
  BackupOutcome& outcome = record.outcome;
  outcome.backup_id = object.at("backup_id");
  for (const Json& machine : object.at("machines")) outcome.machines.push_back(read_machine(machine));
  for (const Json& refused : object.at("refused")) {
    outcome.discovery.refused.push_back({refused.at("path"), refused.at("reason")});
  }
  const Json& error = object.at("error");
  if (!error.is_null()) {
    outcome.error = Finding{Stage::azure_stack, static_cast<ExitCode>(whole_number(error.at("exit_code"))),
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
  return parse_run(text);
}

RunRecord parse_run(const std::string& text) {
  try {
    return record_of(Json::parse(text));
  } catch (const Json::exception& error) {
    throw ManifestError(std::string("the record of a run cannot be read: ") + error.what());
  }
}

}  // namespace host
