// From the JSON description of a virtual machine to its record. What is absent, null or of another type than expected
// leaves its field empty.
#pragma once

#include <jansson.h>

#include <string>

#include "src/base/logging.h"
#include "src/base/status.h"
#include "src/model/vm_records.h"

namespace azurestackpi {

/// What came of reading a machine. Without a usable record: why.
struct VmVerdict {
  Status status = kOk;
  std::string reason;     // for an operator; empty: what the status says
  bool filtered = false;  // another power state than the wanted one
};

/// Fills the record from a machine's description. Refuses with 6601 an id without its resource group and with 6789 a
/// machine that cannot be protected whole.
VmVerdict ReadVmDescription(json_t* description, vm_details_t& vm);

/// Fills the network profile from an interface's description.
void ReadNetworkInterface(json_t* description, vm_network_profile_t& network);

/// Empties a disk's storage type that would not stay one part of the disk's path, with a line.
void KeepStorageType(const FunctionLog& log, std::string& type, const char* disk_id);

/// The text behind "resourceGroups/" up to the next "/". Throws std::out_of_range for an id without it.
std::string ResourceGroupFromId(const std::string& id);

}  // namespace azurestackpi
