// Large worlds, for measurements and for walks over many pages.
#pragma once

#include "sim/world.h"

namespace sim {

/// How large. Each count is that of one parent: machines of a group, groups of a subscription.
struct Scale {
  int subscriptions = 1;
  int groups = 10;
  int machines = 10;
  int data_disks = 2;
  int managed_percent = 50;      // of the machines: they have managed disks, the others VHDs
  int hidden_type_percent = 25;  // of the managed disks: the machine does not tell their storage type
};

/// The same world for the same scale, with the region, the logins and the tenant of the demonstration. Shares are
/// spread evenly: with 50 percent every other machine is a managed one. Machines are numbered through the whole world
/// ("vm-00001"), groups through their subscription ("group-001"); each group has a network, a security group and a
/// storage account, and each machine an interface. Throws std::invalid_argument for a count below 0 or a share that is
/// no percentage.
World generate_world(const Scale& scale);

}  // namespace sim
