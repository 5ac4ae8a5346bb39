// What a workload file says of one machine.
#pragma once

#include <string>
#include <vector>

#include "src/model/vm_records.h"

namespace azurestackpi {

/// One path of a machine.
struct MachineRecord {
  std::vector<std::string> notes;  // log lines that go before it
  std::string path;
  bool with_parents = false;  // the directories above it that the file lacks go before it
};

/// "/SUBSCRIPTION/GROUP/MACHINE".
std::string MachinePath(const std::string& subscription, const vm_details_t& vm);

/// The machine's disks, the OS disk first; none of them is missing in a machine that was read whole.
std::vector<const DiskOwner*> DisksOf(const vm_details_t& vm);

/// The paths of a machine in the order in which a host backs them up: the kind of its disks, which stands for the
/// machine, subscription and staging account, its disks, the OS disk first, and its other metadata.
std::vector<MachineRecord> MakeMachineRecords(const std::string& subscription, const vm_details_t& vm);

}  // namespace azurestackpi
