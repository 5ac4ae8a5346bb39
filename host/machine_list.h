// The machines that workload files tell of: each is a group of paths, whose last parts hold its facts and its disks.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace host {

struct ManagedDisk {
  std::string storage_type;  // empty: not known
  std::string resource_group;
  std::string name;
};

/// The blob of an unmanaged disk.
struct Vhd {
  std::string host;  // of the storage account, with its port if it has one
  std::string container;
  std::string blob;

  std::string account() const { return host.substr(0, host.find('.')); }
};

struct Disk {
  std::string path;  // of the plug-in's object
  std::variant<ManagedDisk, Vhd> source;
  std::uint64_t gigabytes = 0;  // 0: not known
};

/// A text is empty when the plug-in could not tell it.
struct Machine {
  std::string path;
  std::string subscription;
  std::string resource_group;
  std::string name;
  std::string size;
  std::string power_state;
  std::string virtual_network;
  std::string subnet;
  std::string security_group;
  std::string boot_diagnostics;  // the storage account, or "Off"
  std::vector<Disk> disks;       // the OS disk first
  std::string problem;           // why it cannot be backed up; empty: it can
  bool complete = false;         // its last record was seen
};

/// The path of the machine that a record of a workload file belongs to; empty: it is a folder above the machines.
std::string_view machine_part(std::string_view record);

class MachineList {
 public:
  /// Takes a record of a workload file. Throws WorkloadError for a text that no workload file holds.
  void add(std::string_view record);

  /// The machines so far by subscription, group and name, in any letter case. One whose records are not complete has a
  /// problem.
  std::vector<Machine> take();

 private:
  Machine& machine(std::string_view path);

  std::vector<Machine> machines_;
  std::map<std::string, std::size_t, std::less<>> index_;  // of machines_ by path
};

}  // namespace host
