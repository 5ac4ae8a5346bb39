#include "sim/world.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "sim/blob_accounts.h"
#include "sim/derived_text.h"
#include "sim/disk_content.h"
#include "sim/machine_reader.h"
#include "sim/object_reader.h"

namespace sim {
namespace {

class WorldReader {
 public:
  World read(const ObjectReader::Json& document) {
    ObjectReader reader(document, "");
    read_installation(reader);
    reader.each("subscriptions", [this](ObjectReader& subscription) { read_subscription(subscription); });
    reader.finish();
    for (PendingMachine& machine : machines_) read_machine(machine);
    return std::move(world_);
  }

 private:
  /// Machines name accounts, networks and groups that may stand further down in the file, so they are read last.
  struct PendingMachine {
    std::size_t subscription;
    std::string group;
    ObjectReader reader;
  };

  void read_installation(ObjectReader& reader) {
    world_.region = reader.host_name("region");
    world_.domain = reader.host_name("domain");
    world_.tenant_id = reader.text("tenantId");
    world_.audience = reader.text("audience");
    world_.token_lifetime_seconds = reader.positive_number("tokenLifetimeSeconds", world_.token_lifetime_seconds);
    world_.operation_polls = reader.number("operationPolls", world_.operation_polls);
    world_.page_size = static_cast<std::size_t>(reader.number("pageSize", 0));
    world_.aad_clients = reader.list<AadClient>("aadClients", [](ObjectReader& client) {
      return AadClient{client.text("clientId"), client.text("clientSecret")};
    });
    world_.adfs_users = reader.list<AdfsUser>("adfsUsers", [](ObjectReader& user) {
      return AdfsUser{user.text("userName"), user.text("password"), user.text("clientId")};
    });
    auto sizes = reader.list<VmSize>("vmSizes", [](ObjectReader& size) {
      return VmSize{size.text("name"),
                    size.number("cores", 1),
                    size.positive_number("memoryMB", 1024),
                    size.positive_number("osDiskMB", 1'047'552),
                    size.number("resourceDiskMB", 0),
                    size.number("maxDataDisks", 2)};
    });
    if (!sizes.empty()) world_.vm_sizes = std::move(sizes);
  }

  void read_subscription(ObjectReader& reader) {
    const std::string id = reader.text("id");
    for (const Subscription& known : world_.subscriptions) {
      if (equal_ignoring_case(known.id, id)) reader.fail("id", "'" + id + "' is taken");
    }
    Subscription& subscription = world_.subscriptions.emplace_back();
    subscription.id = id;
    subscription.display_name = reader.text("displayName");
    subscription.tenant_id = reader.text("tenantId", world_.tenant_id);
    reader.each("resourceGroups", [&](ObjectReader& group) { read_group(group, subscription); });
  }

  void read_group(ObjectReader& reader, Subscription& subscription) {
    const std::string name = reader.text("name");
    ResourceGroup group{.location = reader.text("location", world_.region)};
    read_named<ManagedDisk>(reader, "disks", group.disks, [&group](ObjectReader& disk) {
      return ManagedDisk{.location = group.location,
                         .storage_type = disk.text("storageType", "Standard_LRS"),
                         .size_gb = disk.positive_number("sizeGB"),
                         .os_type = disk.text("osType", ""),
                         .content = read_disk_content(disk, disk.positive_number("sizeGB"))};
    });
    read_named<VirtualNetwork>(reader, "virtualNetworks", group.networks,
                               [&group](ObjectReader& network) { return read_network(network, group.location); });
    read_named<SecurityGroup>(reader, "networkSecurityGroups", group.security_groups,
                              [&group](ObjectReader&) { return SecurityGroup{group.location}; });
    read_named<PublicAddress>(reader, "publicIpAddresses", group.public_addresses, [&group](ObjectReader& address) {
      return PublicAddress{group.location, address.text("address")};
    });
    read_named<StorageAccount>(reader, "storageAccounts", world_.storage_accounts, [&](ObjectReader& account) {
      return read_account(account, subscription.id, name, group.location);
    });
    for (ObjectReader& machine : reader.objects("machines")) {
      machines_.push_back({world_.subscriptions.size() - 1, name, std::move(machine)});
    }
    if (!subscription.resource_groups.emplace(name, std::move(group)).second) {
      reader.fail("name", "'" + name + "' is taken");
    }
  }

  static VirtualNetwork read_network(ObjectReader& reader, const std::string& location) {
    VirtualNetwork network{.location = location, .address_prefix = reader.text("addressPrefix", "10.0.0.0/16")};
    network.subnets = reader.list<Subnet>("subnets", [](ObjectReader& subnet) {
      return Subnet{subnet.text("name"), subnet.text("addressPrefix", "10.0.0.0/24")};
    });
    if (network.subnets.empty()) reader.fail("subnets", "one at least is needed");
    return network;
  }

  StorageAccount read_account(ObjectReader& reader, const std::string& subscription_id, const std::string& group,
                              const std::string& location) const {
    const std::string name = reader.host_name("name");
    if (name == managed_disk_account) reader.fail("name", "'" + name + "' is the installation's own");
    StorageAccount account{.subscription_id = subscription_id, .group = group, .location = location};
    account.endpoint_suffix = reader.text("endpointSuffix", world_.region + "." + world_.domain);
    account.keys = reader.texts("keys");
    if (account.keys.empty()) account.keys = storage_keys_of(name);
    return account;
  }

  void read_machine(PendingMachine& machine) {
    MachineReader(world_, world_.subscriptions[machine.subscription], machine.group).read(machine.reader);
    machine.reader.finish();
  }

  template <typename Resource>
  static void read_named(ObjectReader& reader, const std::string& member, Named<Resource>& resources,
                         const std::function<Resource(ObjectReader&)>& read) {
    reader.each(member, [&](ObjectReader& element) {
      const std::string name = element.text("name");
      if (!resources.emplace(name, read(element)).second) element.fail("name", "'" + name + "' is taken");
    });
  }

  World world_;
  std::vector<PendingMachine> machines_;
};

}  // namespace

std::vector<VmSize> standard_vm_sizes() {
  constexpr std::int64_t os_disk_mb = 1'047'552;
  return {{"Standard_A1_v2", 1, 2048, os_disk_mb, 10'240, 2},  {"Standard_A2_v2", 2, 4096, os_disk_mb, 20'480, 4},
          {"Standard_D1_v2", 1, 3584, os_disk_mb, 51'200, 4},  {"Standard_D2_v2", 2, 7168, os_disk_mb, 102'400, 8},
          {"Standard_DS1_v2", 1, 3584, os_disk_mb, 7'168, 4},  {"Standard_DS2_v2", 2, 7168, os_disk_mb, 14'336, 8},
          {"Standard_F2s_v2", 2, 4096, os_disk_mb, 16'384, 4}, {"Standard_F4s_v2", 4, 8192, os_disk_mb, 32'768, 8}};
}

World parse_world(std::string_view text, const std::string& origin) {
  try {
    const auto document = ObjectReader::Json::parse(text);
    return WorldReader().read(document);
  } catch (const std::exception& error) {
    throw std::runtime_error(origin + ": " + error.what());
  }
}

World load_world(const std::filesystem::path& file) {
  std::ifstream input(file, std::ios::binary);
  std::ostringstream text;
  if (!input || !(text << input.rdbuf())) throw std::runtime_error(file.string() + ": cannot be read");
  return parse_world(text.str(), file.string());
}

}  // namespace sim
