// What Resource Manager is sent to make a machine and its network interface.
#pragma once

#include <string>
#include <vector>

#include "src/model/vm_records.h"
#include "src/recovery/attached_disks.h"

namespace azurestackpi {

// Values are escaped for JSON; tags are JSON already. disks: the OS disk, then the data disks; at least one.

/// A machine out of VHDs. Data disks are named after the machine and counted from 0, which is their LUN too.
std::string UnmanagedVmBody(const vm_env_t& env, const std::string& nic_id, const std::vector<AttachedDisk>& disks);

/// A machine out of managed disks.
std::string ManagedVmBody(const vm_env_t& env, const std::string& nic_id, const std::vector<AttachedDisk>& disks);

/// A network interface in the environment's subnet, with its security group when one is named. public_ip_id: empty for
/// an interface without a public address.
std::string NicBody(const vm_env_t& env, const std::string& public_ip_id);

std::string PublicIpBody(const vm_env_t& env);

}  // namespace azurestackpi
