#include "host/machine_list.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <utility>

#include "host/workload_file.h"

namespace host {

namespace {

constexpr std::string_view snapshot_mark = "snapshot_name=";
constexpr std::string_view metadata_mark = "Metadata/";
constexpr std::string_view managed_mark = "ManagedDisks:";
constexpr std::string_view last_key = "VmName";
constexpr std::size_t machine_slashes = 3;
constexpr std::size_t disk_parts = 3;

constexpr std::array<std::pair<std::string_view, std::string Machine::*>, 6> facts{{
    {"Size", &Machine::size},
    {"PowerState", &Machine::power_state},
    {"Vnet", &Machine::virtual_network},
    {"Subnet", &Machine::subnet},
    {"Nsg", &Machine::security_group},
    {"BootDiagnostics", &Machine::boot_diagnostics},
}};

bool starts_with(std::string_view text, std::string_view mark) { return text.substr(0, mark.size()) == mark; }

// Where the slash stands that ends a machine's path; npos for the path of a machine or of a folder above one.
std::size_t end_of_machine(std::string_view path) {
  std::size_t at = 0;
  for (std::size_t slash = 0; slash < machine_slashes && at != std::string_view::npos; ++slash) {
    at = path.find('/', at + 1);
  }
  return at;
}

std::vector<std::string> parts_of(std::string_view text) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t slash = text.find('/'); slash != std::string_view::npos; slash = text.find('/', start)) {
    parts.emplace_back(text.substr(start, slash - start));
    start = slash + 1;
  }
  parts.emplace_back(text.substr(start));
  return parts;
}

// A value that holds slashes brings its beginnings along as folders, so the last of several holds.
void add_metadata(Machine& machine, std::string_view entry) {
  const std::size_t equals = entry.find('=');
  if (equals == std::string_view::npos) return;
  const std::string_view key = entry.substr(0, equals);
  for (const auto& [name, member] : facts) {
    if (name == key) machine.*member = entry.substr(equals + 1);
  }
  if (key == last_key) machine.complete = true;
}

Disk make_disk(std::string_view path, std::vector<std::string> parts) {
  if (!starts_with(parts[0], managed_mark)) {
    return {std::string(path), Vhd{std::move(parts[0]), std::move(parts[1]), std::move(parts[2])}, 0};
  }
  return {std::string(path),
          ManagedDisk{parts[0].substr(managed_mark.size()), std::move(parts[1]), std::move(parts[2])}, 0};
}

// A path of more parts cannot be opened as a disk; what looked like one before it was the folder that it lies in.
void add_deep_path(Machine& machine, std::string_view path, std::string_view rest) {
  if (!machine.disks.empty() && starts_with(path, machine.disks.back().path + "/")) machine.disks.pop_back();
  machine.problem = "the blob of a disk lies in a folder, which no backup can read: " + std::string(rest);
}

bool comes_before(const Machine& left, const Machine& right) {
  for (const auto part : {&Machine::subscription, &Machine::resource_group, &Machine::name}) {
    const int order = ::strcasecmp((left.*part).c_str(), (right.*part).c_str());
    if (order != 0) return order < 0;
  }
  return left.path < right.path;
}

}  // namespace

std::string_view machine_part(std::string_view record) {
  const std::size_t end = end_of_machine(record);
  if (end != std::string_view::npos) return record.substr(0, end);
  const auto slashes = static_cast<std::size_t>(std::count(record.begin(), record.end(), '/'));
  return slashes == machine_slashes ? record : std::string_view();
}

void MachineList::add(std::string_view record) {
  if (starts_with(record, snapshot_mark)) return;
  if (!starts_with(record, "/")) throw WorkloadError("a workload file holds a record that is no path");
  const std::size_t end = end_of_machine(record);
  if (end == std::string_view::npos) return;
  const std::string_view rest = record.substr(end + 1);
  if (starts_with(rest, metadata_mark)) {
    add_metadata(machine(record.substr(0, end)), rest.substr(metadata_mark.size()));
    return;
  }
  std::vector<std::string> parts = parts_of(rest);
  if (parts.size() < disk_parts) return;  // a folder
  Machine& owner = machine(record.substr(0, end));
  if (parts.size() == disk_parts) {
    owner.disks.push_back(make_disk(record, std::move(parts)));
  } else {
    add_deep_path(owner, record, rest);
  }
}

Machine& MachineList::machine(std::string_view path) {
  const auto found = index_.find(path);
  if (found != index_.end()) return machines_[found->second];
  index_.emplace(path, machines_.size());
  std::vector<std::string> parts = parts_of(path.substr(1));
  Machine machine;
  machine.path = path;
  machine.subscription = std::move(parts[0]);
  machine.resource_group = std::move(parts[1]);
  machine.name = std::move(parts[2]);
  machines_.push_back(std::move(machine));
  return machines_.back();
}

std::vector<Machine> MachineList::take() {
  index_.clear();
  std::vector<Machine> machines = std::exchange(machines_, {});
  for (Machine& machine : machines) {
    if (machine.problem.empty() && (machine.disks.empty() || !machine.complete)) {
      machine.problem = "its records are not complete";
    }
  }
  std::sort(machines.begin(), machines.end(), comes_before);
  return machines;
}

}  // namespace host
