#include "host/backup_events.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "host/whole_number.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

// Names from outside may be no UTF-8; they are told with a mark instead of failing the report.
std::string line_of(const char* event, const Json& members) {
  Json object{{"event", event}};
  object.update(members);
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string read_text(const Json& text) { return text.is_null() ? "" : text.get<std::string>(); }

std::vector<Warning> read_warnings(const Json& array) {
  std::vector<Warning> warnings;
  for (const Json& warning : array) warnings.push_back({warning.at("what"), warning.at("next")});
  return warnings;
}

EndEvent read_end(const Json& report) {
  EndEvent end{std::nullopt, read_warnings(report.at("warnings"))};
  const Json& error = report.at("error");
  if (!error.is_null()) {
    end.error = Finding{Stage::azure_stack, static_cast<ExitCode>(whole_number(error.at("exit_code"))),
                        error.at("what"), error.at("next")};
  }
  return end;
}

BackupEvent event_of(const Json& object) {
  const std::string& kind = object.at("event").get_ref<const std::string&>();
  if (kind == "progress")
    return ProgressEvent{object.at("name"), whole_number(object.at("done")), whole_number(object.at("whole"))};
  if (kind == "machine") return read_machine(object);
  if (kind == "end") return read_end(object);
  throw EventError("a job tells of an unknown event: " + kind);
}

}  // namespace

std::string event_line(const ProgressEvent& progress) {
  return line_of("progress", {{"name", progress.name}, {"done", progress.done}, {"whole", progress.whole}});
}

std::string event_line(const MachineResult& machine) { return line_of("machine", machine_json(machine)); }

std::string end_event_line(const Json& report) { return line_of("end", report); }

BackupEvent read_event(std::string_view line) {
  try {
    return event_of(Json::parse(line));
  } catch (const Json::exception& error) {
    throw EventError(std::string("a job's line cannot be read: ") + error.what());
  } catch (const ManifestError& error) {
    throw EventError(error.what());
  }
}

Json machine_json(const MachineResult& result) {
  Json object{{"path", result.machine},
              {"protected", result.is_protected},
              {"problem", text_or_null(result.problem)},
              {"next", text_or_null(result.next)},
              {"manifest", text_or_null(result.manifest)},
              {"added_bytes", result.added},
              {"seconds", result.seconds},
              {"disks", Json::array()},
              {"warnings", warnings_json(result.warnings)}};
  for (const SavedDisk& disk : result.disks) object["disks"].push_back(disk_json(disk));
  return object;
}

MachineResult read_machine(const Json& object) {
  MachineResult result;
  result.machine = object.at("path");
  result.is_protected = object.at("protected");
  result.problem = read_text(object.at("problem"));
  result.next = read_text(object.at("next"));
  result.manifest = read_text(object.at("manifest"));
  for (const Json& disk : object.at("disks")) result.disks.push_back(read_disk(disk));
  result.added = whole_number(object.at("added_bytes"));
  result.seconds = whole_number(object.at("seconds"));
  result.warnings = read_warnings(object.at("warnings"));
  return result;
}

}  // namespace host
