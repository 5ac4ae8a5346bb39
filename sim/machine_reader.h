// Reads a machine of a world file, with the managed disks and the network interfaces that it brings along.
#pragma once

#include <optional>
#include <string>

#include "sim/object_reader.h"
#include "sim/world.h"

namespace sim {

/// For the machines of one resource group. Networks, storage accounts and groups that a machine names must stand in the
/// world already.
class MachineReader {
 public:
  MachineReader(World& world, Subscription& subscription, const std::string& group_name)
      : world_(world), subscription_(subscription), group_name_(group_name) {}

  /// Adds the machine, its managed disks and its interfaces. Throws like ObjectReader.
  void read(ObjectReader& reader);

 private:
  MachineDisk disk(ObjectReader& reader, MachineDisk disk, const std::string& os_type);
  void add_managed_disk(ObjectReader& reader, MachineDisk& disk, const std::string& os_type);
  MachineNic nic(ObjectReader& reader, bool first);
  std::string subnet(ObjectReader& reader, const Reference& network) const;
  std::string account(ObjectReader& reader) const;
  template <typename Resource>
  std::optional<Reference> reference(ObjectReader& reader, const std::string& member,
                                     Named<Resource> ResourceGroup::*kind) const;
  ResourceGroup& group() const { return subscription_.resource_groups.at(group_name_); }

  World& world_;
  Subscription& subscription_;
  const std::string& group_name_;
  Reference machine_ = {};  // the one being read
};

}  // namespace sim
