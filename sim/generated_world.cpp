#include "sim/generated_world.h"

#include <array>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "sim/derived_text.h"
#include "sim/resource_id.h"

namespace sim {
namespace {

/// Says yes to so many of every hundred calls, spread evenly.
class Share {
 public:
  explicit Share(int percent) : percent_(percent) {}

  bool next() {
    sum_ += percent_;
    if (sum_ < 100) return false;
    sum_ -= 100;
    return true;
  }

 private:
  int percent_;
  int sum_ = 0;
};

std::string numbered(const char* prefix, int number, int digits) {
  std::array<char, 16> text{};
  const int size = std::snprintf(text.data(), text.size(), "%0*d", digits, number);
  return prefix + std::string(text.data(), static_cast<std::size_t>(size));
}

class WorldGenerator {
 public:
  explicit WorldGenerator(const Scale& scale)
      : scale_(scale), managed_(scale.managed_percent), type_hidden_(scale.hidden_type_percent) {}

  World generate() {
    World world = demo_world();
    world.subscriptions.clear();
    world.storage_accounts.clear();
    for (int i = 1; i <= scale_.subscriptions; ++i) add_subscription(world, i);
    return world;
  }

 private:
  void add_subscription(World& world, int number) {
    const std::string name = numbered("subscription-", number, 2);
    Subscription subscription{.id = guid_of(name), .display_name = name, .tenant_id = world.tenant_id};
    for (int i = 1; i <= scale_.groups; ++i) {
      const std::string group = numbered("group-", i, 3);
      const std::string account = numbered("store", ++accounts_, 4);
      world.storage_accounts.emplace(account, StorageAccount{.subscription_id = subscription.id,
                                                             .group = group,
                                                             .location = world.region,
                                                             .endpoint_suffix = world.region + "." + world.domain,
                                                             .keys = storage_keys_of(account)});
      subscription.resource_groups.emplace(group, filled_group(subscription.id, group, account, world.region));
    }
    world.subscriptions.push_back(std::move(subscription));
  }

  ResourceGroup filled_group(const std::string& subscription_id, const std::string& name, const std::string& account,
                             const std::string& region) {
    ResourceGroup group{.location = region};
    group.networks.emplace(name + "-vnet", VirtualNetwork{region, "10.0.0.0/16", {{"default", "10.0.0.0/16"}}});
    group.security_groups.emplace(name + "-nsg", SecurityGroup{region});
    for (int i = 0; i < scale_.machines; ++i) {
      const Reference machine{name, numbered("vm-", ++machines_, 5)};
      group.nics.emplace(machine.name + "-nic", nic_of(machine, i, region));
      group.machines.emplace(machine.name, new_machine(subscription_id, machine, account, group));
    }
    return group;
  }

  static NetworkInterface nic_of(const Reference& machine, int index, const std::string& region) {
    const int host = index + 4;  // Azure keeps the first four addresses for itself
    return {.location = region,
            .network = {machine.group, machine.group + "-vnet"},
            .subnet = "default",
            .private_address = "10.0." + std::to_string(host / 256 % 256) + "." + std::to_string(host % 256),
            .security_group = Reference{machine.group, machine.group + "-nsg"},
            .machine = machine};
  }

  Machine new_machine(const std::string& subscription_id, const Reference& place, const std::string& account,
                      ResourceGroup& group) {
    Machine machine{.vm_id = guid_of(resource_id(subscription_id, place, resource_type::machine)),
                    .location = group.location,
                    .size = "Standard_DS1_v2",
                    .admin_user = "operator",
                    .tags = Tags{},
                    .image = Image{"contoso-linux", "Server", "1", "latest"}};
    machine.nics.push_back({{place.group, place.name + "-nic"}, true});
    const bool managed = managed_.next();
    machine.os_disk = {.name = place.name + "-os", .size_gb = 30, .caching = "ReadWrite", .create_option = "FromImage"};
    place_disk(machine.os_disk, managed, place, account, group, machine.os_type);
    for (int lun = 0; lun < scale_.data_disks; ++lun) {
      MachineDisk disk{.name = place.name + "-data" + std::to_string(lun), .lun = lun, .size_gb = 10};
      place_disk(disk, managed, place, account, group, "");
      machine.data_disks.push_back(std::move(disk));
    }
    return machine;
  }

  void place_disk(MachineDisk& disk, bool managed, const Reference& machine, const std::string& account,
                  ResourceGroup& group, const std::string& os_type) {
    if (!managed) {
      disk.vhd = Blob{account, "vhds", disk.name + ".vhd"};
      return;
    }
    const ManagedDisk value{.location = group.location,
                            .size_gb = disk.size_gb,
                            .os_type = os_type,
                            .create_option = disk.create_option,
                            .machine = machine};
    disk.managed_disk = Reference{machine.group, disk.name};
    disk.storage_type = type_hidden_.next() ? "" : value.storage_type;
    group.disks.emplace(disk.name, value);
  }

  const Scale scale_;
  Share managed_;
  Share type_hidden_;
  int accounts_ = 0;
  int machines_ = 0;
};

void check(const Scale& scale) {
  for (const int count : {scale.subscriptions, scale.groups, scale.machines, scale.data_disks}) {
    if (count < 0) throw std::invalid_argument("a world cannot have fewer than 0 of anything");
  }
  for (const int percent : {scale.managed_percent, scale.hidden_type_percent}) {
    if (percent < 0 || percent > 100) throw std::invalid_argument("a share is from 0 to 100 percent");
  }
}

}  // namespace

World generate_world(const Scale& scale) {
  check(scale);
  return WorldGenerator(scale).generate();
}

}  // namespace sim
