// Types of resources and their ids.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sim/resources.h"

namespace sim {

/// Namespace and type as the paths and the answers spell them.
namespace resource_type {
inline const std::string machine = "Microsoft.Compute/virtualMachines";
inline const std::string vm_size = "Microsoft.Compute/locations/vmSizes";
inline const std::string disk = "Microsoft.Compute/disks";
inline const std::string snapshot = "Microsoft.Compute/snapshots";
inline const std::string nic = "Microsoft.Network/networkInterfaces";
inline const std::string network = "Microsoft.Network/virtualNetworks";
inline const std::string subnet = "Microsoft.Network/virtualNetworks/subnets";
inline const std::string security_group = "Microsoft.Network/networkSecurityGroups";
inline const std::string public_address = "Microsoft.Network/publicIPAddresses";
inline const std::string storage_account = "Microsoft.Storage/storageAccounts";
}  // namespace resource_type

/// "/subscriptions/S/resourceGroups/G/providers/Microsoft.Compute/disks/N"
std::string resource_id(const std::string& subscription_id, const std::string& group, const std::string& type,
                        const std::string& name);

inline std::string resource_id(const std::string& subscription_id, const Reference& resource, const std::string& type) {
  return resource_id(subscription_id, resource.group, type, resource.name);
}

/// The storage provider of an Azure Stack writes the whole path of an account in small letters.
std::string storage_account_id(const std::string& subscription_id, const std::string& group, const std::string& name);

/// The parts of an id as they are written.
struct ResourceId {
  std::string subscription_id;
  std::string group;
  std::string type;  // "Microsoft.Compute/disks"
  std::string name;
};

/// Reads an id; the slash at its start may be missing, as the services take it. None when it is of another form.
std::optional<ResourceId> parse_resource_id(std::string_view id);

}  // namespace sim
