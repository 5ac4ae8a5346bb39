// The storage accounts that a blob server has to know for a world.
#pragma once

#include <string>

#include "sim/world.h"

namespace sim {

/// The account of the installation itself that holds the data of managed disks. No subscription has it, no route tells
/// its keys; a world file cannot take its name.
inline constexpr const char* managed_disk_account = "mdstoragelocal";

/// The world's accounts and the one for managed disks.
Named<StorageAccount> blob_accounts(const World& world);

/// The key that the simulator signs with: the first that is not empty.
const std::string& signing_key(const StorageAccount& account);

/// The same as the blob server Azurite takes them in the environment variable AZURITE_ACCOUNTS: "name:key1:key2;...".
/// The keys are secrets in full.
std::string azurite_accounts(const World& world);

}  // namespace sim
