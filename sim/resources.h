// The resources of the simulated cloud: plain values, held by their names.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sim/letter_case.h"

namespace sim {

/// Resources of one kind by their names as created; found and listed without regard to case.
template <typename Resource>
using Named = std::map<std::string, Resource, LessIgnoringCase>;

/// Another resource of the same subscription, of a kind that the member's name tells.
struct Reference {
  std::string group = {};
  std::string name = {};  // as created, like the group's

  bool operator==(const Reference&) const = default;
};

/// Names and values in their order. A resource that never had tags differs from one whose tags are empty.
using Tags = std::vector<std::pair<std::string, std::string>>;

/// 2018-03-19 01:21:26 UTC: when everything was created that was there from the start.
inline constexpr std::int64_t world_creation_time = 1'521'422'486;

struct ByteRange {
  std::int64_t offset = 0;
  std::int64_t size = 0;
};

/// Where a disk holds data from the start; what data, follows from its name. None: a few MiB here and there.
using DiskContent = std::optional<std::vector<ByteRange>>;

/// A blob of a storage account. Its address is composed when it is told, because it depends on the blob server's port.
struct Blob {
  std::string account = {};
  std::string container = {};
  std::string name = {};

  bool operator==(const Blob&) const = default;
};

/// A disk as its machine describes it: with either a VHD or a managed disk.
struct MachineDisk {
  std::string name = {};
  int lun = 0;  // of a data disk
  std::int64_t size_gb = 0;
  bool size_hidden = false;  // the description lacks it, as that of a deallocated machine may
  std::string caching = "None";
  std::string create_option = "Empty";
  std::optional<Blob> vhd = {};
  std::optional<Reference> managed_disk = {};
  std::string storage_type = {};  // of a managed disk; empty: the description lacks it, only the disk itself tells it
  DiskContent content = {};       // of a VHD
};

struct MachineNic {
  Reference nic = {};
  bool primary = true;
};

struct Plan {
  std::string name = {};
  std::string publisher = {};
  std::string product = {};
};

struct Image {
  std::string publisher = {};
  std::string offer = {};
  std::string sku = {};
  std::string version = {};
};

struct BootDiagnostics {
  bool enabled = true;
  std::string account = {};  // may be empty when they are off
};

/// What a machine shows while an operation on it goes on.
struct PendingChange {
  std::string operation = {};
  std::string provisioning_state = "Updating";
  std::string power_state = {};
};

struct Machine {
  std::string vm_id = {};
  std::string location = {};
  std::string size = {};
  std::string os_type = "Linux";  // or "Windows"
  std::string admin_user = {};
  std::string power_state = "running";  // empty: the instance view does not tell it
  std::optional<Tags> tags = {};
  std::optional<Plan> plan = {};
  std::optional<Image> image = {};
  std::optional<BootDiagnostics> boot_diagnostics = {};
  MachineDisk os_disk = {};
  std::vector<MachineDisk> data_disks = {};
  std::vector<MachineNic> nics = {};
  std::optional<PendingChange> change = {};  // the last one, which may have ended
};

struct ManagedDisk {
  std::string location = {};
  std::string storage_type = "Standard_LRS";
  std::int64_t size_gb = 0;
  std::string os_type = {};  // empty for a data disk
  std::string create_option = "Empty";
  std::optional<Reference> machine = {};  // that it is attached to
  std::int64_t created = world_creation_time;
  DiskContent content = {};
  std::string source_uri = {};  // of an imported disk
  std::string container = {};   // where its data are; empty until they are somewhere
  std::string operation = {};   // that creates it; empty when it was there from the start
};

/// Read access that was granted to a snapshot.
struct SnapshotAccess {
  std::string policy = {};  // the stored access policy that the address depends on
  std::int64_t expiry = 0;
};

struct Snapshot {
  std::string location = {};
  std::string storage_type = {};
  std::int64_t size_gb = 0;
  std::string os_type = {};    // empty for that of a data disk
  std::string source_id = {};  // the disk's id as the client wrote it
  std::int64_t created = 0;
  std::optional<Tags> tags = {};
  std::string container = {};  // of the disk's data
  std::string data = {};       // the blob server's snapshot of them
  std::string operation = {};  // that creates it
  std::optional<SnapshotAccess> access = {};
};

struct NetworkInterface {
  std::string location = {};
  Reference network = {};
  std::string subnet = {};
  std::string private_address = {};
  std::string configuration = "ipconfig1";  // the name of its one IP configuration
  bool primary = true;
  std::optional<Reference> security_group = {};
  std::optional<Reference> public_address = {};
  std::optional<Reference> machine = {};  // that it belongs to
};

struct Subnet {
  std::string name = {};
  std::string address_prefix = {};
};

struct VirtualNetwork {
  std::string location = {};
  std::string address_prefix = {};
  std::vector<Subnet> subnets = {};  // in the order in which they are listed
};

struct SecurityGroup {
  std::string location = {};
};

struct PublicAddress {
  std::string location = {};
  std::string address = {};
};

struct StorageAccount {
  std::string subscription_id = {};
  std::string group = {};
  std::string location = {};
  std::string endpoint_suffix = {};  // "local.azurestack.localhost"
  std::vector<std::string> keys = {};
};

struct VmSize {
  std::string name = {};
  int cores = 0;
  std::int64_t memory_mb = 0;
  std::int64_t os_disk_mb = 0;
  std::int64_t resource_disk_mb = 0;
  int max_data_disks = 0;
};

struct ResourceGroup {
  std::string location = {};
  Named<Machine> machines = {};
  Named<ManagedDisk> disks = {};
  Named<Snapshot> snapshots = {};
  Named<NetworkInterface> nics = {};
  Named<VirtualNetwork> networks = {};
  Named<SecurityGroup> security_groups = {};
  Named<PublicAddress> public_addresses = {};
};

}  // namespace sim
