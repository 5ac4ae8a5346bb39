#include "sim/machine_request.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

#include "sim/operation_routes.h"
#include "sim/request_body.h"

namespace sim {
namespace {

constexpr int highest_lun = 63;
constexpr std::int64_t gib = 1 << 30;

std::string machine_id(const Subscription& subscription, const Reference& machine) {
  return resource_id(subscription.id, machine, resource_type::machine);
}

/// Calls `use` with the subscription, the place and each disk of every machine of the world.
template <typename Use>
void for_each_machine_disk(const World& world, Use use) {
  for (const Subscription& subscription : world.subscriptions) {
    for (const auto& [group_name, group] : subscription.resource_groups) {
      for (const auto& [name, machine] : group.machines) {
        use(subscription, Reference{group_name, name}, machine.os_disk);
        for (const MachineDisk& disk : machine.data_disks) use(subscription, Reference{group_name, name}, disk);
      }
    }
  }
}

class MachineRequest {
 public:
  MachineRequest(Cloud& cloud, const GroupScope& scope, const std::string& name)
      : cloud_(cloud), scope_(scope), place_{scope.name, name}, id_(machine_id(scope.subscription, place_)) {}

  Machine read(ObjectReader& body) {
    pass_over_identity(body);
    machine_.location = read_location(body, cloud_, scope_);
    machine_.tags = body.tags("tags");
    required_section(body, "properties", [this](ObjectReader& properties) { read_properties(properties); });
    return std::move(machine_);
  }

 private:
  void read_properties(ObjectReader& properties) {
    required_section(properties, "hardwareProfile", [this](ObjectReader& hardware) { read_size(hardware); });
    required_section(properties, "storageProfile", [this](ObjectReader& storage) { read_storage(storage); });
    required_section(properties, "networkProfile", [this](ObjectReader& network) {
      network.each("networkInterfaces", [this](ObjectReader& nic) { read_nic(nic); });
    });
    if (machine_.nics.empty()) throw bad_parameter("The machine has no network interface.", "networkInterfaces");
    properties.section("diagnosticsProfile", [this](ObjectReader& profile) {
      profile.section("bootDiagnostics", [this](ObjectReader& diagnostics) { read_diagnostics(diagnostics); });
    });
  }

  void read_size(ObjectReader& hardware) {
    const std::string size = required_text(hardware, "vmSize");
    std::string known;
    for (const VmSize& offered : cloud_.world.vm_sizes) {
      known.append(known.empty() ? "" : ",").append(offered.name);
      if (!equal_ignoring_case(offered.name, size)) continue;
      machine_.size = offered.name;
      most_data_disks_ = static_cast<std::size_t>(offered.max_data_disks);
      return;
    }
    throw bad_parameter(
        "The requested VM size " + size +
            " is not available in the current region. The sizes available in the current region are: " + known + ".",
        "vmSize");
  }

  void read_storage(ObjectReader& storage) {
    required_section(storage, "osDisk", [this](ObjectReader& disk) {
      required_text(disk, "osType");
      machine_.os_type = disk.word("osType", {"Linux", "Windows"});
      machine_.os_disk = read_disk(disk, "osDisk");
      machine_.os_disk.caching = disk.word("caching", {"ReadWrite", "ReadOnly", "None"});
    });
    storage.each("dataDisks", [this](ObjectReader& disk) { read_data_disk(disk); });
    if (machine_.data_disks.size() > most_data_disks_) {
      throw Refusal(409, "OperationNotAllowed",
                    "The maximum number of data disks allowed to be attached to a VM of this size is " +
                        std::to_string(most_data_disks_) + ".",
                    "dataDisks");
    }
  }

  void read_data_disk(ObjectReader& reader) {
    if (!reader.has("lun")) reader.fail("lun", "is missing");
    const int lun = reader.number("lun", 0);
    if (lun > highest_lun) {
      throw bad_parameter("The value '" + std::to_string(lun) +
                              "' of parameter 'dataDisk.lun' is out of range. It must " + "be between '0' and '" +
                              std::to_string(highest_lun) + "', inclusive.",
                          "dataDisk.lun");
    }
    MachineDisk disk = read_disk(reader, "dataDisk");
    disk.lun = lun;
    disk.caching = reader.word("caching", {"None", "ReadOnly", "ReadWrite"});
    check_beside_others(disk);
    machine_.data_disks.push_back(std::move(disk));
  }

  MachineDisk read_disk(ObjectReader& reader, const std::string& parameter) {
    const std::string option = required_text(reader, "createOption");
    if (!equal_ignoring_case(option, "Attach")) {
      throw bad_parameter("The value '" + option + "' of parameter '" + parameter + ".createOption' is not supported.",
                          parameter + ".createOption");
    }
    const std::string name = reader.text("name", "");
    MachineDisk disk;
    if (reader.section("managedDisk", [&](ObjectReader& managed) { disk = managed_disk(managed); })) {
      if (name.empty() || equal_ignoring_case(name, disk.name)) return disk;
      throw bad_parameter("The name '" + name + "' is not that of the managed disk " + disk.name + ".",
                          parameter + ".name");
    }
    if (name.empty()) throw bad_parameter("Required parameter '" + parameter + ".name' is missing (null).");
    required_section(reader, "vhd", [&](ObjectReader& vhd) { disk = unmanaged_disk(name, required_text(vhd, "uri")); });
    return disk;
  }

  MachineDisk managed_disk(ObjectReader& managed) const {
    const std::string id = required_text(managed, "id");
    const std::optional<ResourceId> parts = parse_resource_id(id);
    if (parts && !equal_ignoring_case(parts->subscription_id, scope_.subscription.id)) {
      throw bad_parameter("Subscription " + scope_.subscription.id + " of the request must match the subscription " +
                              parts->subscription_id + " contained in the managed disk id.",
                          "managedDisk.id");
    }
    const auto disk = located(scope_.subscription, id, resource_type::disk, &ResourceGroup::disks);
    if (!disk || in_progress(cloud_, disk->resource->operation)) {
      throw Refusal(404, "NotFound", "Disk " + (parts ? parts->name : id) + " is not found.");
    }
    check_disk(disk->place.name, *disk->resource);
    return {.name = disk->place.name,
            .size_gb = disk->resource->size_gb,
            .create_option = "Attach",
            .managed_disk = disk->place,
            .storage_type = disk->resource->storage_type};
  }

  void check_disk(const std::string& name, const ManagedDisk& disk) const {
    if (disk.machine && *disk.machine != place_) {
      throw Refusal(409, "ConflictingUserInput",
                    "Disk '" + name + "' cannot be attached as the disk is already owned by VM '" +
                        machine_id(scope_.subscription, *disk.machine) + "'.");
    }
    if (!equal_ignoring_case(disk.location, machine_.location)) {
      throw bad_parameter("Disk '" + name + "' is in location '" + disk.location + "', the VM in '" +
                          machine_.location + "'.");
    }
  }

  MachineDisk unmanaged_disk(const std::string& name, const std::string& uri) {
    const std::optional<Blob> vhd = blob_at(cloud_.world, uri);
    if (!vhd) throw bad_parameter("The URI " + uri + " does not look to be correct blob URI.", "vhd.uri");
    const StorageAccount& account = cloud_.world.storage_accounts.at(vhd->account);
    if (account.subscription_id != scope_.subscription.id) {
      throw Refusal(
          400, "StorageAccountSubscriptionMismatch",
          "Storage account " + vhd->account + " doesn't belong to subscription " + scope_.subscription.id + ".");
    }
    for_each_machine_disk(cloud_.world, [&](const auto& subscription, const Reference& owner, const MachineDisk& disk) {
      const bool own = subscription.id == scope_.subscription.id && owner == place_;
      if (own || disk.vhd != vhd) return;
      throw Refusal(409, "DiskBlobAlreadyInUseByAnotherDisk",
                    "Blob " + uri + " is already in use by another disk belonging to VM '" + owner.name +
                        "'. You can examine the blob metadata for the disk reference information.");
    });
    const std::int64_t size = vhd_size(*vhd, uri, name);
    return {.name = name,
            .size_gb = (size + gib - 1) / gib,
            .size_hidden = size == 0,
            .create_option = "Attach",
            .vhd = vhd};
  }

  /// In bytes.
  std::int64_t vhd_size(const Blob& vhd, const std::string& uri, const std::string& disk) {
    try {
      return cloud_.disks->vhd_size(vhd);
    } catch (const std::invalid_argument& flaw) {
      throw Refusal(400, "InvalidVhd", "The blob " + uri + " is not a supported VHD: " + flaw.what() + ".");
    } catch (const BlobError& error) {
      if (error.status() != 404) throw;
      throw Refusal(404, "DiskBlobNotFound", "Unable to find VHD blob with URI " + uri + " for disk '" + disk + "'.");
    }
  }

  void check_beside_others(const MachineDisk& disk) const {
    std::vector<MachineDisk> others = machine_.data_disks;
    others.push_back(machine_.os_disk);
    for (const MachineDisk& other : others) {
      const std::string start = "A disk named '" + other.name + "' already ";
      if (equal_ignoring_case(other.name, disk.name)) throw bad_parameter(start + "exists.", "dataDisk.name");
      if (disk.vhd && other.vhd == disk.vhd) {
        throw bad_parameter(start + "uses the same VHD URL " + blob_address(cloud_, *disk.vhd) + ".", "dataDisk.vhd");
      }
    }
    for (const MachineDisk& other : machine_.data_disks) {
      if (other.lun != disk.lun) continue;
      throw bad_parameter("A disk at LUN " + std::to_string(disk.lun) + " already exists.", "dataDisk.lun");
    }
    if (disk.vhd.has_value() == machine_.os_disk.vhd.has_value()) return;
    throw Refusal(409, "OperationNotAllowed",
                  disk.vhd ? "Addition of a blob based disk to VM with managed disks is not supported."
                           : "Addition of a managed disk to a VM with blob based disks is not supported.");
  }

  void read_nic(ObjectReader& reader) {
    const std::string id = required_text(reader, "id");
    MachineNic entry{.primary = machine_.nics.empty()};
    reader.section("properties",
                   [&](ObjectReader& properties) { entry.primary = properties.flag("primary", entry.primary); });
    const auto nic = located(scope_.subscription, id, resource_type::nic, &ResourceGroup::nics);
    if (!nic || !equal_ignoring_case(nic->resource->location, machine_.location)) throw reference_not_found(id, id_);
    const auto& owner = nic->resource->machine;
    if (owner && *owner != place_) {
      throw Refusal(
          400, "NicInUse",
          "Network Interface " + id + " is used by existing VM " + machine_id(scope_.subscription, *owner) + ".");
    }
    entry.nic = nic->place;
    machine_.nics.push_back(entry);
  }

  void read_diagnostics(ObjectReader& reader) {
    BootDiagnostics diagnostics{.enabled = reader.flag("enabled", false)};
    const std::optional<std::string> address = reader.optional_text("storageUri");
    if (diagnostics.enabled && !address) {
      throw bad_parameter("Required parameter 'bootDiagnostics.storageUri' is missing (null).", "storageUri");
    }
    if (address) {
      const auto* account = account_at(cloud_.world, *address);
      if (account == nullptr) {
        throw Refusal(400, "StorageAccountNotFound",
                      "Storage account " + *address +
                          " not found. Ensure storage account is not deleted and belongs to the same Azure location as "
                          "the VM.");
      }
      diagnostics.account = account->first;
    }
    machine_.boot_diagnostics = diagnostics;
  }

  Cloud& cloud_;
  const GroupScope& scope_;
  const Reference place_;
  const std::string id_;
  std::size_t most_data_disks_ = 0;
  Machine machine_;
};

}  // namespace

Machine requested_machine(Cloud& cloud, const GroupScope& scope, const Call& call, const std::string& name) {
  Machine machine;
  read_body(call, [&](ObjectReader& body) { machine = MachineRequest(cloud, scope, name).read(body); });
  return machine;
}

}  // namespace sim
