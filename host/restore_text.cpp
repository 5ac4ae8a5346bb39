#include "host/restore_text.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/byte_text.h"
#include "host/printable.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t label_width = 18;
constexpr std::string_view seconds_mark = "-RESTORE-";

std::string fact(std::string label, const std::string& text) {
  label.resize(label_width, ' ');
  return "  " + label + printable(text) + "\n";
}

std::uint64_t data_bytes(const SavedDisk& disk) { return disk.size - disk.skipped; }

std::string last_part(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string network_text(const Machine& machine) {
  std::string text = "the default network of the resource group";
  if (!machine.virtual_network.empty()) {
    text = machine.virtual_network + "/" + (machine.subnet.empty() ? "default" : machine.subnet);
  }
  return text + (machine.security_group.empty() ? ", no security group" : ", security group " + machine.security_group);
}

std::string disk_text(const Disk& disk) {
  if (const auto* vhd = std::get_if<Vhd>(&disk.source)) {
    return "unmanaged: a new blob beside " + vhd->account() + "/" + vhd->container + "/" + vhd->blob;
  }
  const auto& managed = std::get<ManagedDisk>(disk.source);
  return "managed, " + managed.storage_type + ": a new disk of " + managed.name + " in resource group " +
         managed.resource_group;
}

std::string disk_plan_lines(const RestorePlan& plan, std::size_t at) {
  const SavedDisk& saved = plan.disks[at].saved;
  return fact(at == 0 ? "OS disk" : "data disk", disk_text(plan.shape.disks[at])) +
         fact("", byte_text(saved.size) + " disk, " + byte_text(data_bytes(saved)) + " to write");
}

// The name ends in the second in which it was asked for, which is another one when the disk is made.
std::string announced(const std::string& name) {
  const std::size_t mark = name.rfind(seconds_mark);
  return mark == std::string::npos ? name : name.substr(0, mark + seconds_mark.size()) + "SECONDS";
}

std::string disk_lines(const RestoredDisk& disk, bool dry_run) {
  if (dry_run) {
    return disk.name.empty() ? ""
                             : "  " + printable(last_part(disk.path)) + " -> " + printable(announced(disk.name)) + "\n";
  }
  const std::string line = "  " + printable(last_part(disk.path)) + ": ";
  if (!disk.complete) return line + "not complete; taken back, unless a line below says otherwise\n";
  return line + byte_text(disk.bytes) + " written -> " + (disk.name.empty() ? "name not known" : printable(disk.name)) +
         "\n";
}

const char* good_word(const RestoreResult& result, bool dry_run) {
  if (dry_run) return "could be restored";
  return result.plan.disks_only ? "disks restored" : "restored";
}

std::size_t count_done(const RestoreOutcome& outcome) {
  return static_cast<std::size_t>(
      std::count_if(outcome.machines.begin(), outcome.machines.end(), [](const auto& result) { return result.done; }));
}

Json disk_json(const PlannedDisk& disk, const RestoreResult& result) {
  Json object{{"path", disk.saved.path}, {"target", disk.path},
              {"size", disk.saved.size}, {"bytes_to_write", data_bytes(disk.saved)},
              {"name", nullptr},         {"stream_bytes_written", 0},
              {"complete", false}};
  for (const RestoredDisk& restored : result.disks) {
    if (restored.path != disk.saved.path) continue;
    object["name"] = text_or_null(restored.name);
    object["stream_bytes_written"] = restored.bytes;
    object["complete"] = restored.complete;
  }
  return object;
}

Json as_json(const RestoreResult& result) {
  const RestorePlan& plan = result.plan;
  Json object{{"path", plan.machine},
              {"backup_id", plan.backup_id},
              {"time", text_or_null(plan.time)},
              {"target", text_or_null(plan.place)},
              {"keeps_configuration", plan.keeps_configuration},
              {"disks_only", plan.disks_only},
              {"size", text_or_null(plan.shape.size)},
              {"power_state", text_or_null(plan.shape.power_state)},
              {"virtual_network", text_or_null(plan.shape.virtual_network)},
              {"subnet", text_or_null(plan.shape.subnet)},
              {"security_group", text_or_null(plan.shape.security_group)},
              {"boot_diagnostics", text_or_null(plan.shape.boot_diagnostics)},
              {"done", result.done},
              {"problem", text_or_null(result.problem)},
              {"next", text_or_null(result.next)},
              {"details", result.details},
              {"disks", Json::array()}};
  for (const PlannedDisk& disk : plan.disks) object["disks"].push_back(disk_json(disk, result));
  return object;
}

}  // namespace

ExitCode restore_code(const RestoreOutcome& outcome) {
  const std::size_t good = count_done(outcome);
  if (good > 0) return good == outcome.machines.size() && !outcome.error ? ExitCode::ok : ExitCode::partial;
  return outcome.error ? outcome.error->code : ExitCode::failed;
}

std::string plan_lines(const RestorePlan& plan) {
  std::string lines = printable(plan.machine) + "\n" + fact("backup", plan.backup_id + " of " + plan.time);
  if (plan.disks_only) {
    lines += fact("to", "its disks alone; the machine is not made");
  } else {
    lines += fact("to", plan.place + (plan.keeps_configuration ? ", configured as it was" : ", configured anew")) +
             fact("size", plan.shape.size.empty() ? "as it was" : plan.shape.size) +
             fact("power state", plan.shape.power_state.empty() ? "as it starts" : plan.shape.power_state) +
             fact("network", network_text(plan.shape)) + fact("boot diagnostics", plan.shape.boot_diagnostics);
  }
  for (std::size_t at = 0; at < plan.disks.size(); ++at) lines += disk_plan_lines(plan, at);
  return lines;
}

std::string result_lines(const RestoreResult& result, bool dry_run) {
  std::string lines;
  for (const RestoredDisk& disk : result.disks) lines += disk_lines(disk, dry_run);
  if (result.done) {
    lines += std::string("  ") + good_word(result, dry_run) + "\n";
  } else {
    lines += (dry_run ? "  CANNOT BE RESTORED: " : "  NOT RESTORED: ") + printable(result.problem) + "\n";
  }
  for (const std::string& detail : result.details) lines += "    log: " + detail + "\n";
  return result.next.empty() ? lines : lines + "    -> " + printable(result.next) + "\n";
}

std::string summary_line(const RestoreOutcome& outcome) {
  const std::size_t good = count_done(outcome);
  const std::string not_done = std::to_string(outcome.machines.size() - good) + " not";
  const std::string machines = "\n" + std::to_string(good) + (good == 1 ? " machine" : " machines");
  if (!outcome.dry_run) return machines + " restored, " + not_done + ".\n";
  return machines + " could be restored, " + not_done +
         ". Nothing was made.\nChecked are subscriptions, the disks' resource groups and storage accounts; whether a "
         "name is taken, and networks\nand sizes, show when the machine is made.\n";
}

Json restore_json(const RestoreOutcome& outcome) {
  Json object{{"dry_run", outcome.dry_run},
              {"error", error_json(outcome.error)},
              {"warnings", warnings_json(outcome.warnings)},
              {"machines", Json::array()}};
  for (const RestoreResult& result : outcome.machines) object["machines"].push_back(as_json(result));
  return object;
}

}  // namespace host
