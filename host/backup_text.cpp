#include "host/backup_text.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/backup_events.h"
#include "host/byte_text.h"
#include "host/printable.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

std::size_t count_protected(const BackupOutcome& outcome) {
  return static_cast<std::size_t>(std::count_if(outcome.machines.begin(), outcome.machines.end(),
                                                [](const MachineResult& result) { return result.is_protected; }));
}

std::string disk_line(const std::string& machine, const SavedDisk& disk) {
  return "  " + printable(std::string_view(disk.path).substr(machine.size() + 1)) + ": " + byte_text(disk.size) +
         " disk, " + byte_text(disk.stream_bytes) + " read, " + byte_text(disk.skipped) + " unallocated\n";
}

std::string left_out_lines(const char* title, const std::vector<LeftOut>& list) {
  std::string text;
  for (const LeftOut& entry : list) {
    text += (text.empty() ? std::string("\n") + title + ":\n" : "") + "  " + printable(entry.what) + "\n    " +
            printable(entry.why) + "\n";
  }
  return text;
}

}  // namespace

ExitCode backup_code(const BackupOutcome& outcome) {
  const std::size_t good = count_protected(outcome);
  const bool whole = good == outcome.machines.size() && outcome.discovery.refused.empty() &&
                     outcome.discovery.unlisted.empty() && !outcome.error;
  if (good > 0) return whole ? ExitCode::ok : ExitCode::partial;
  if (outcome.error) return outcome.error->code;
  return whole ? ExitCode::nothing_found : ExitCode::failed;
}

std::string machine_lines(const MachineResult& result) {
  std::string text = printable(result.machine) + "\n";
  for (const SavedDisk& disk : result.disks) text += disk_line(result.machine, disk);
  for (const Warning& warning : result.warnings) {
    text += "  warning: " + printable(warning.what) + "\n    -> " + printable(warning.next) + "\n";
  }
  if (result.is_protected) return text + "  protected\n";
  text += "  NOT PROTECTED: " + printable(result.problem) + "\n";
  return result.next.empty() ? text : text + "    -> " + printable(result.next) + "\n";
}

std::string summary_lines(const BackupOutcome& outcome) {
  const std::size_t good = count_protected(outcome);
  const std::size_t bad = outcome.machines.size() - good + outcome.discovery.refused.size();
  std::string text = left_out_lines("Not protected", outcome.discovery.refused) +
                     left_out_lines("Not known, because a list could not be read", outcome.discovery.unlisted);
  text += "\nBackup " + printable(outcome.backup_id) + ": " + std::to_string(good) +
          (good == 1 ? " machine" : " machines") + " protected, " + std::to_string(bad) + " not";
  const std::size_t filtered = outcome.discovery.filtered.size();
  return text + (filtered == 0 ? "" : ", " + std::to_string(filtered) + " filtered out by VM_STATE") + ".\n";
}

Json backup_json(const BackupOutcome& outcome) {
  Json object{{"backup_id", outcome.backup_id},
              {"error", error_json(outcome.error)},
              {"warnings", warnings_json(outcome.warnings)}};
  const Json left_out = discovery_json(outcome.discovery);
  object["machines"] = Json::array();
  for (const MachineResult& result : outcome.machines) object["machines"].push_back(machine_json(result));
  for (const char* name : {"refused", "filtered", "unlisted"}) object[name] = left_out.at(name);
  return object;
}

}  // namespace host
