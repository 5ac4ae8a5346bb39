#include "sim/machine_reader.h"

#include <algorithm>
#include <utility>

#include "sim/derived_text.h"
#include "sim/disk_content.h"
#include "sim/resource_id.h"

namespace sim {
namespace {

/// The next address of a network that has as many interfaces already; Azure keeps the first four for itself.
std::string private_address(std::size_t interfaces) {
  const std::size_t host = interfaces + 4;
  return "10.0." + std::to_string(host / 256 % 256) + "." + std::to_string(host % 256);
}

template <typename Resource>
void add(ObjectReader& reader, Named<Resource>& resources, const std::string& name, Resource resource) {
  if (!resources.emplace(name, std::move(resource)).second) reader.fail("name", "'" + name + "' is taken");
}

}  // namespace

void MachineReader::read(ObjectReader& reader) {
  const std::string name = reader.text("name");
  machine_ = {group_name_, name};
  Machine machine;
  machine.vm_id = reader.text("vmId", guid_of(resource_id(subscription_.id, machine_, resource_type::machine)));
  machine.location = reader.text("location", group().location);
  machine.size = reader.text("size");
  machine.os_type = reader.word("osType", {"Linux", "Windows"});
  machine.admin_user = reader.text("adminUsername", "operator");
  machine.power_state =
      reader.word("powerState", {"running", "stopped", "deallocated", "starting", "stopping", "deallocating"});
  machine.tags = reader.tags("tags");
  machine.plan = reader.object<Plan>("plan", [](ObjectReader& plan) {
    return Plan{plan.text("name"), plan.text("publisher"), plan.text("product")};
  });
  machine.image = reader.object<Image>("image", [](ObjectReader& image) {
    return Image{image.text("publisher"), image.text("offer"), image.text("sku"), image.text("version", "latest")};
  });
  machine.boot_diagnostics = reader.object<BootDiagnostics>("bootDiagnostics", [this](ObjectReader& diagnostics) {
    return BootDiagnostics{diagnostics.flag("enabled", true), account(diagnostics)};
  });
  const auto os_disk = reader.object<MachineDisk>("osDisk", [&](ObjectReader& os) {
    return disk(os, {.caching = "ReadWrite", .create_option = "FromImage"}, machine.os_type);
  });
  if (!os_disk) reader.fail("osDisk", "is missing");
  machine.os_disk = *os_disk;
  reader.each("dataDisks", [&](ObjectReader& data) {
    const int next_lun = static_cast<int>(machine.data_disks.size());
    machine.data_disks.push_back(disk(data, {.lun = data.number("lun", next_lun)}, ""));
  });
  reader.each("networkInterfaces",
              [&](ObjectReader& interface) { machine.nics.push_back(nic(interface, machine.nics.empty())); });
  add(reader, group().machines, name, std::move(machine));
}

MachineDisk MachineReader::disk(ObjectReader& reader, MachineDisk disk, const std::string& os_type) {
  disk.name = reader.text("name");
  disk.size_gb = reader.positive_number("sizeGB");
  disk.caching = reader.text("caching", disk.caching);
  disk.create_option = reader.text("createOption", disk.create_option);
  disk.vhd = reader.object<Blob>("vhd", [&](ObjectReader& vhd) {
    return Blob{account(vhd), vhd.text("container", "vhds"), vhd.text("blob", disk.name + ".vhd")};
  });
  disk.content = read_disk_content(reader, disk.size_gb);
  if (!disk.vhd) add_managed_disk(reader, disk, os_type);
  disk.size_hidden = reader.flag("sizeHidden", false);
  return disk;
}

void MachineReader::add_managed_disk(ObjectReader& reader, MachineDisk& disk, const std::string& os_type) {
  const std::string type = reader.text("storageType", "Standard_LRS");
  disk.storage_type = reader.flag("typeHidden", false) ? "" : type;
  const auto holder = subscription_.resource_groups.find(reader.text("resourceGroup", group_name_));
  if (holder == subscription_.resource_groups.end()) reader.fail("resourceGroup", "names no group");
  disk.managed_disk = Reference{holder->first, disk.name};
  add(reader, holder->second.disks, disk.name,
      ManagedDisk{.location = holder->second.location,
                  .storage_type = type,
                  .size_gb = disk.size_gb,
                  .os_type = os_type,
                  .create_option = disk.create_option,
                  .machine = machine_,
                  .content = disk.content});
}

MachineNic MachineReader::nic(ObjectReader& reader, bool first) {
  const std::string name = reader.text("name");
  const auto network = reference(reader, "virtualNetwork", &ResourceGroup::networks);
  if (!network) reader.fail("virtualNetwork", "is missing");
  const bool primary = reader.flag("primary", first);
  add(reader, group().nics, name,
      NetworkInterface{.location = group().location,
                       .network = *network,
                       .subnet = subnet(reader, *network),
                       .private_address = reader.text("privateIpAddress", private_address(group().nics.size())),
                       .primary = primary,
                       .security_group = reference(reader, "networkSecurityGroup", &ResourceGroup::security_groups),
                       .public_address = reference(reader, "publicIpAddress", &ResourceGroup::public_addresses),
                       .machine = machine_});
  return {{group_name_, name}, primary};
}

/// The one that the interface names, else the network's first.
std::string MachineReader::subnet(ObjectReader& reader, const Reference& network) const {
  const auto& subnets = subscription_.resource_groups.at(network.group).networks.at(network.name).subnets;
  std::string name = reader.text("subnet", subnets.front().name);
  const bool known =
      std::any_of(subnets.begin(), subnets.end(), [&name](const Subnet& subnet) { return subnet.name == name; });
  if (!known) reader.fail("subnet", "names none of the network");
  return name;
}

std::string MachineReader::account(ObjectReader& reader) const {
  const auto account = world_.storage_accounts.find(reader.text("account"));
  if (account == world_.storage_accounts.end()) reader.fail("account", "names no storage account");
  return account->first;
}

/// What "NAME" of the machine's group, or "GROUP/NAME", means; none when the member is absent.
template <typename Resource>
std::optional<Reference> MachineReader::reference(ObjectReader& reader, const std::string& member,
                                                  Named<Resource> ResourceGroup::*kind) const {
  const std::optional<std::string> text = reader.optional_text(member);
  if (!text) return std::nullopt;
  const std::size_t slash = text->find('/');
  const bool in_other_group = slash != std::string::npos;
  const auto holder = subscription_.resource_groups.find(in_other_group ? text->substr(0, slash) : group_name_);
  if (holder == subscription_.resource_groups.end()) reader.fail(member, "names no group");
  const auto& resources = holder->second.*kind;
  const auto resource = resources.find(in_other_group ? text->substr(slash + 1) : *text);
  if (resource == resources.end()) reader.fail(member, "names nothing in the group " + holder->first);
  return Reference{holder->first, resource->first};
}

}  // namespace sim
