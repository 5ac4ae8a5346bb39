#include "host/discovery_text.h"

#include <strings.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/printable.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t label_width = 18;
constexpr const char* unknown = "unknown";
constexpr const char* diagnostics_off = "Off";

bool same_name(const std::string& left, const std::string& right) {
  return ::strcasecmp(left.c_str(), right.c_str()) == 0;
}

std::string or_unknown(const std::string& text) { return text.empty() ? unknown : text; }

std::string counted(std::size_t number, const std::string& what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

// ---- For people -----------------------------------------------------------------------------------------------------

std::string indented(std::size_t depth, const std::string& text) {
  return std::string(2 * depth, ' ') + printable(text) + "\n";
}

std::string fact(std::string label, const std::string& text) {
  label.resize(label_width, ' ');
  return indented(3, label + text);
}

std::string network_text(const Machine& machine) {
  if (machine.virtual_network.empty()) return unknown;
  return machine.virtual_network + "/" + or_unknown(machine.subnet) +
         (machine.security_group.empty() ? "" : ", security group " + machine.security_group);
}

std::string disk_text(const Machine& machine, const Disk& disk) {
  const std::string size = disk.gigabytes == 0 ? "" : ", " + std::to_string(disk.gigabytes) + " GB";
  if (const auto* vhd = std::get_if<Vhd>(&disk.source)) {
    return "unmanaged" + size + ": " + vhd->account() + "/" + vhd->container + "/" + vhd->blob;
  }
  const auto& managed = std::get<ManagedDisk>(disk.source);
  const bool elsewhere = !same_name(managed.resource_group, machine.resource_group);
  return "managed, " + (managed.storage_type.empty() ? "type unknown" : managed.storage_type) + size + ": " +
         managed.name + (elsewhere ? " in resource group " + managed.resource_group : "");
}

std::string machine_lines(const Machine& machine) {
  std::string lines =
      indented(2, machine.name + " (" + or_unknown(machine.size) + ", " + or_unknown(machine.power_state) + ")");
  lines += fact("network", network_text(machine));
  lines += fact("boot diagnostics",
                machine.boot_diagnostics == diagnostics_off ? "off" : or_unknown(machine.boot_diagnostics));
  for (const Disk& disk : machine.disks) {
    lines += fact(&disk == &machine.disks.front() ? "OS disk" : "data disk", disk_text(machine, disk));
  }
  return lines;
}

std::string machine_tree(const std::vector<Machine>& machines) {
  std::string lines;
  const Machine* before = nullptr;
  for (const Machine& machine : machines) {
    const bool subscription = before == nullptr || !same_name(before->subscription, machine.subscription);
    if (subscription) lines += indented(0, "subscription " + machine.subscription);
    if (subscription || !same_name(before->resource_group, machine.resource_group)) {
      lines += indented(1, machine.resource_group);
    }
    lines += machine_lines(machine);
    before = &machine;
  }
  return lines;
}

std::string left_out_lines(const std::string& title, const std::vector<LeftOut>& list) {
  if (list.empty()) return {};
  std::string lines = title + ":\n";
  for (const LeftOut& entry : list) lines += indented(1, entry.what) + indented(2, entry.why);
  return lines;
}

std::string summary(const Discovery& discovery) {
  std::size_t disks = 0;
  for (const Machine& machine : discovery.machines) disks += machine.disks.size();
  std::string line = discovery.machines.empty() ? "No machine would be protected"
                                                : counted(discovery.machines.size(), "machine") + " with " +
                                                      counted(disks, "disk") + " would be protected";
  if (!discovery.refused.empty()) line += "; " + counted(discovery.refused.size(), "machine") + " cannot be";
  if (!discovery.unlisted.empty()) line += "; " + counted(discovery.unlisted.size(), "list") + " could not be read";
  if (!discovery.filtered.empty()) {
    line += "; " + counted(discovery.filtered.size(), "machine") + " filtered out by VM_STATE";
  }
  return line + ".\n";
}

// ---- For programs ---------------------------------------------------------------------------------------------------

Json or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json disk_json(const Disk& disk) {
  const Json size = disk.gigabytes == 0 ? Json() : Json(disk.gigabytes);
  if (const auto* vhd = std::get_if<Vhd>(&disk.source)) {
    return {{"path", disk.path}, {"kind", "unmanaged"},         {"size_gb", size},  {"account", vhd->account()},
            {"host", vhd->host}, {"container", vhd->container}, {"blob", vhd->blob}};
  }
  const auto& managed = std::get<ManagedDisk>(disk.source);
  return {{"path", disk.path},
          {"kind", "managed"},
          {"size_gb", size},
          {"storage_type", or_null(managed.storage_type)},
          {"resource_group", managed.resource_group},
          {"name", managed.name}};
}

Json machine_json(const Machine& machine) {
  const bool diagnostics = machine.boot_diagnostics != diagnostics_off;
  Json object{{"path", machine.path},
              {"subscription", machine.subscription},
              {"resource_group", machine.resource_group},
              {"name", machine.name},
              {"size", or_null(machine.size)},
              {"power_state", or_null(machine.power_state)},
              {"virtual_network", or_null(machine.virtual_network)},
              {"subnet", or_null(machine.subnet)},
              {"security_group", or_null(machine.security_group)},
              {"boot_diagnostics", diagnostics ? or_null(machine.boot_diagnostics) : Json(false)},
              {"disks", Json::array()}};
  for (const Disk& disk : machine.disks) object["disks"].push_back(disk_json(disk));
  return object;
}

Json left_out_json(const std::vector<LeftOut>& list, const char* name) {
  Json array = Json::array();
  for (const LeftOut& entry : list) array.push_back({{name, entry.what}, {"reason", entry.why}});
  return array;
}

}  // namespace

ExitCode discovery_code(const Discovery& discovery) {
  const bool lacking = !discovery.refused.empty() || !discovery.unlisted.empty();
  if (discovery.machines.empty()) return lacking ? ExitCode::failed : ExitCode::nothing_found;
  return lacking ? ExitCode::partial : ExitCode::ok;
}

std::string discovery_tree(const Discovery& discovery, bool list_filtered) {
  std::string text;
  for (const std::string& section :
       {machine_tree(discovery.machines), left_out_lines("Not protected", discovery.refused),
        left_out_lines("Not known, since it could not be listed", discovery.unlisted),
        list_filtered ? left_out_lines("Filtered out", discovery.filtered) : std::string()}) {
    if (!section.empty()) text += section + "\n";
  }
  return text + summary(discovery);
}

Json discovery_json(const Discovery& discovery) {
  Json object{{"machines", Json::array()},
              {"refused", left_out_json(discovery.refused, "path")},
              {"filtered", left_out_json(discovery.filtered, "path")},
              {"unlisted", left_out_json(discovery.unlisted, "what")}};
  for (const Machine& machine : discovery.machines) object["machines"].push_back(machine_json(machine));
  return object;
}

}  // namespace host
