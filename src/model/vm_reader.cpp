#include "src/model/vm_reader.h"

#include <algorithm>
#include <memory>
#include <set>
#include <stdexcept>
#include <vector>

#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/model/field_table.h"
#include "src/model/resource_calls.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

// Disks. A record is made only for a disk that says where it is: one without an address or an id is none.

void ReadVhd(const char* function, json_t* value, DiskOwner& owner) {
  static constexpr Field<vm_unmanaged_disk_t> fields[] = {{"uri", &vm_unmanaged_disk_t::m_uri}};
  auto disk = std::make_unique<vm_unmanaged_disk_t>();
  ReadFields(function, fields, value, *disk);
  if (!disk->m_uri.empty()) {
    owner = DiskOwner(std::move(disk));
  }
}

// Subscription and group of "/subscriptions/S/resourceGroups/R/...".
bool SplitDiskId(vm_managed_disk_t& disk) {
  const std::vector<std::string> tokens = SplitText(disk.m_disk_id, '/');
  if (tokens.size() < 5 || tokens[2].empty() || tokens[4].empty()) {
    return false;
  }
  disk.m_disk_subscription_id = tokens[2];
  disk.m_disk_resource_group = tokens[4];
  return true;
}

void ReadManagedDisk(const char* function, json_t* value, DiskOwner& owner) {
  static constexpr Field<vm_managed_disk_t> fields[] = {
      {"storageAccountType", &vm_managed_disk_t::m_storage_account_type}, {"id", &vm_managed_disk_t::m_disk_id}};
  if (!json_is_object(value)) {
    return;
  }
  const FunctionLog log(function);
  auto disk = std::make_unique<vm_managed_disk_t>();
  ReadFields(function, fields, value, *disk);
  const char* const id = disk->m_disk_id.c_str();
  KeepStorageType(log, disk->m_storage_account_type, id);
  if (!SplitDiskId(*disk)) {
    log.error("line: %d, Invalid Managed Disk ID %s ", __LINE__, id);
  } else if (disk->m_storage_account_type.empty()) {
    log.flow("line: %d, storageAccountType not found for Managed Disk ID %s in VM details, getting it using disk API ",
             __LINE__, id);
  }
  if (!disk->m_disk_id.empty()) {
    owner = DiskOwner(std::move(disk));
  }
}

constexpr Field<vm_os_disk_t> kOsDisk[] = {
    {"vhd", [](json_t* value, vm_os_disk_t& disk) { ReadVhd("parseVHD", value, disk.m_disk); }},
    {"managedDisk", [](json_t* value, vm_os_disk_t& disk) { ReadManagedDisk("parseManagedDisk", value, disk.m_disk); }},
    {"osType", &vm_os_disk_t::m_os_type},
    {"name", &vm_os_disk_t::m_name},
    {"createOption", &vm_os_disk_t::m_create_option},
    {"caching", &vm_os_disk_t::m_caching},
    {"diskSizeGB", &vm_os_disk_t::m_disk_size_gb, Echo::kStandardOutput}};

constexpr Field<vm_data_disks_t> kDataDisk[] = {
    {"lun", &vm_data_disks_t::m_lun, Echo::kStandardOutput},
    {"name", &vm_data_disks_t::m_name, Echo::kStandardOutput},
    {"createOption", &vm_data_disks_t::m_create_option, Echo::kStandardOutput},
    {"caching", &vm_data_disks_t::m_caching, Echo::kStandardOutput},
    {"diskSizeGB", &vm_data_disks_t::m_disk_size_gb, Echo::kStandardOutput},
    {"vhd", [](json_t* value, vm_data_disks_t& disk) { ReadVhd("parseDataDiskVHD", value, disk.m_disk); }},
    {"managedDisk",
     [](json_t* value, vm_data_disks_t& disk) { ReadManagedDisk("parseManagedDataDisk", value, disk.m_disk); }}};

constexpr std::int32_t kDataDisksUnreadable = -1;

void ReadDataDisks(json_t* value, vm_storage_profile_t& storage) {
  const FunctionLog log("parseDataDisks");
  const std::size_t count = json_array_size(value);
  // What is no list may have been one with disks in it: the machine is then refused.
  const bool readable = json_is_array(value) || json_is_null(value);
  storage.m_data_disk_count = readable ? static_cast<std::int32_t>(count) : kDataDisksUnreadable;
  log.detail("line: %d, Number of DataDisks = %d", __LINE__, storage.m_data_disk_count);
  for (std::size_t i = 0; i < std::min(count, storage.m_data_disks.size()); ++i) {
    ReadFields("parseDataDisk", kDataDisk, json_array_get(value, i), storage.m_data_disks[i]);
  }
}

constexpr Field<vm_image_reference_t> kImageReference[] = {{"publisher", &vm_image_reference_t::m_publisher},
                                                           {"offer", &vm_image_reference_t::m_offer},
                                                           {"sku", &vm_image_reference_t::m_sku},
                                                           {"version", &vm_image_reference_t::m_version}};

constexpr Field<vm_storage_profile_t> kStorageProfile[] = {
    {"imageReference",
     [](json_t* value, vm_storage_profile_t& storage) {
       ReadFields("parseImageReference", kImageReference, value, storage.m_image_reference);
     }},
    {"osDisk", [](json_t* value,
                  vm_storage_profile_t& storage) { ReadFields("parseOsDisk", kOsDisk, value, storage.m_os_disk); }},
    {"dataDisks", ReadDataDisks}};

// Operating system, plan and state.

void ReadSecrets(json_t* value, vm_os_profile_t& profile) {
  const FunctionLog log("parseSecrets");
  const std::size_t count = json_array_size(value);
  for (std::size_t i = 0; i < profile.m_secrets.size(); ++i) {
    profile.m_secrets[i] = i < count ? CompactJson(json_array_get(value, i)) : std::string();
    if (i < count) {
      log.detail("line: %d, parseSecrets[%d] = %s", __LINE__, static_cast<int>(i), profile.m_secrets[i].c_str());
    }
  }
  if (count > profile.m_secrets.size()) {
    log.flow("line: %d, %zu of %zu secrets are not kept", __LINE__, count - profile.m_secrets.size(), count);
  }
}

constexpr Field<vm_os_profile_t> kLinuxConfiguration[] = {
    {"disablePasswordAuthentication", &vm_os_profile_t::m_disable_password_authentication}};

constexpr Field<vm_os_profile_t> kOsProfile[] = {{"computerName", &vm_os_profile_t::m_computer_name},
                                                 {"adminUsername", &vm_os_profile_t::m_admin_username},
                                                 {"secrets", ReadSecrets},
                                                 {"linuxConfiguration", [](json_t* value, vm_os_profile_t& profile) {
                                                    ReadFields("parseLinuxConfiguration", kLinuxConfiguration, value,
                                                               profile);
                                                  }}};

constexpr Field<vm_plan_t> kPlan[] = {
    {"name", &vm_plan_t::m_name}, {"publisher", &vm_plan_t::m_publisher}, {"product", &vm_plan_t::m_product}};

void ReadPowerState(json_t* statuses, vm_details_t& vm) {
  constexpr std::string_view mark = "PowerState/";
  const FunctionLog log("parseInstanceView");
  for (std::size_t i = 0; i < json_array_size(statuses); ++i) {
    const std::string code = JsonStringOrEmpty(json_array_get(statuses, i), "code");
    if (const std::size_t found = code.find(mark); found != std::string::npos) {
      vm.m_power_state = code.substr(found + mark.size());
      log.detail("m_power_state : %s", vm.m_power_state.c_str());
    }
  }
}

constexpr Field<vm_details_t> kInstanceView[] = {{"statuses", ReadPowerState}};

constexpr Field<vm_details_t> kBootDiagnostics[] = {{"enabled", &vm_details_t::m_boot_diagnostics_enabled},
                                                    {"storageUri", &vm_details_t::m_boot_diagnostics_storage_uri}};

constexpr Field<vm_details_t> kDiagnosticsProfile[] = {
    {"bootDiagnostics",
     [](json_t* value, vm_details_t& vm) { ReadFields("parseBootDiagnostics", kBootDiagnostics, value, vm); }}};

constexpr Field<vm_details_t> kHardwareProfile[] = {{"vmSize", &vm_details_t::m_vm_size}};

// Network.

constexpr Field<vm_network_profile_t> kNetworkInterface[] = {{"id", &vm_network_profile_t::m_nic_id}};

// Every entry replaces the one before, so that the last one is kept.
void ReadNetworkInterfaces(json_t* value, vm_network_profile_t& network) {
  const FunctionLog log("parseNetworkInterfaces");
  for (std::size_t i = 0; i < json_array_size(value); ++i) {
    log.detail("line: %d, NetworkInterfaces Number: %d", __LINE__, static_cast<int>(i));
    ReadFields("parseNetworkInterface", kNetworkInterface, json_array_get(value, i), network);
    network.m_nic_name = LastPathComponent(network.m_nic_id);
    log.detail("line: %d, interface = %s", __LINE__, network.m_nic_name.c_str());
  }
}

constexpr Field<vm_network_profile_t> kNetworkProfile[] = {{"networkInterfaces", ReadNetworkInterfaces}};

// "/.../virtualNetworks/V/subnets/N" into V, N and the network's own id; marks are found in any letter case.
void SplitSubnetId(const std::string& received, vm_network_profile_t& network) {
  constexpr std::string_view network_mark = "/virtualnetworks/";
  constexpr std::string_view subnet_mark = "/subnets/";
  const std::string id = rtrim(received, "/");
  const std::string lower = ToLower(id);
  const std::size_t subnet = lower.rfind(subnet_mark);
  if (subnet == std::string::npos) {
    return;
  }
  network.m_vnet_id = id.substr(0, subnet);
  network.m_subnet = id.substr(subnet + subnet_mark.size());
  const std::size_t found = lower.rfind(network_mark);
  const std::size_t begin = found + network_mark.size();
  if (found != std::string::npos && begin <= subnet) {
    network.m_vnet_name = id.substr(begin, subnet - begin);
  }
}

void ReadIpConfigurations(json_t* value, vm_network_profile_t& network) {
  const FunctionLog log("parseIpConfigurations");
  const json_t* const properties = json_object_get(json_array_get(value, 0), "properties");
  const std::string id = JsonStringOrEmpty(json_object_get(properties, "subnet"), "id");
  SplitSubnetId(id, network);
  log.detail("%s = %s", "vnet_name", network.m_vnet_name.c_str());
  log.detail("%s = %s", "vnet_id", network.m_vnet_id.c_str());
  log.detail("%s = %s", "subnet", network.m_subnet.c_str());
  log.detail("%s = %s", "subnet_id", id.c_str());
}

void ReadSecurityGroup(json_t* value, vm_network_profile_t& network) {
  const FunctionLog log("parseNSG");
  network.m_nsg_id = JsonStringOrEmpty(value, "id");
  network.m_nsg_name = LastPathComponent(network.m_nsg_id);
  log.detail("%s = %s", "nsgId", network.m_nsg_id.c_str());
  log.detail("%s = %s", "nsgName", network.m_nsg_name.c_str());
}

constexpr Field<vm_network_profile_t> kInterfaceProperties[] = {{"ipConfigurations", ReadIpConfigurations},
                                                                {"networkSecurityGroup", ReadSecurityGroup}};

// The machine.

constexpr Field<vm_details_t> kProperties[] = {
    {"vmId", &vm_details_t::m_vm_id},
    {"hardwareProfile",
     [](json_t* value, vm_details_t& vm) { ReadFields("parseHardwareProfile", kHardwareProfile, value, vm); }},
    {"storageProfile",
     [](json_t* value, vm_details_t& vm) {
       ReadFields("parseStorageProfile", kStorageProfile, value, vm.m_storage_profile);
     }},
    {"osProfile",
     [](json_t* value, vm_details_t& vm) { ReadFields("parseOsProfile", kOsProfile, value, vm.m_os_profile); }},
    {"instanceView",
     [](json_t* value, vm_details_t& vm) { ReadFields("parseInstanceView", kInstanceView, value, vm); }},
    {"networkProfile",
     [](json_t* value, vm_details_t& vm) {
       ReadFields("parseNetworkProfile", kNetworkProfile, value, vm.m_network_profile);
     }},
    {"diagnosticsProfile",
     [](json_t* value, vm_details_t& vm) { ReadFields("parseDiagnosticsProfile", kDiagnosticsProfile, value, vm); }},
    {"provisioningState", &vm_details_t::m_provisioning_state}};

void ReadPlan(json_t* value, vm_details_t& vm) {
  const FunctionLog log("ParseVMResponse");
  log.detail("%s = %s", "plan", CompactJson(value).c_str());
  ReadFields("parsePlan", kPlan, value, vm.m_plan);
}

void ReadTags(json_t* value, vm_details_t& vm) {
  if (json_is_object(value)) {
    const FunctionLog log("ParseVMResponse");
    vm.m_tags = CompactJson(value);
    log.detail("DEBUG %s = %s", "tags", vm.m_tags.c_str());
  }
}

constexpr Field<vm_details_t> kMachine[] = {
    {"properties", [](json_t* value, vm_details_t& vm) { ReadFields("parseProperties", kProperties, value, vm); }},
    {"plan", ReadPlan},
    {"id", &vm_details_t::m_id},
    {"type", &vm_details_t::m_type},
    {"location", &vm_details_t::m_location},
    {"name", &vm_details_t::m_name},
    {"tags", ReadTags}};

// What the record of a managed disk takes from the machine and from the disk's slot. Only here, since the members of a
// description come in any order.
void FillManagedDisk(vm_managed_disk_t* disk, const vm_details_t& vm, const std::string& name, bool is_os_disk,
                     std::int64_t lun) {
  if (disk == nullptr) {
    return;
  }
  disk->m_disk_name = name;
  disk->m_vm_id = vm.m_vm_id;
  disk->m_lun = is_os_disk ? "9999" : std::to_string(lun);
  disk->m_disk_role = is_os_disk ? kOsDiskRole : kDataDiskRole;
  disk->m_disk_kind = is_os_disk ? "OSDisk" : "DataDisk";
}

// A disk that the machine lists without a name is the one its id names.
void NameDisk(std::string& name, const vm_managed_disk_t* disk) {
  if (name.empty() && disk != nullptr) {
    name = LastPathComponent(disk->m_disk_id);
  }
}

void FillManagedDisks(vm_details_t& vm) {
  vm_os_disk_t& os_disk = vm.m_storage_profile.m_os_disk;
  NameDisk(os_disk.m_name, os_disk.m_disk.managed());
  for (vm_data_disks_t& slot : vm.m_storage_profile.m_data_disks) {
    NameDisk(slot.m_name, slot.m_disk.managed());
  }
  vm.m_is_managed = os_disk.m_disk.managed() != nullptr;
  FillManagedDisk(os_disk.m_disk.managed(), vm, os_disk.m_name, true, 0);
  for (const vm_data_disks_t& slot : vm.m_storage_profile.m_data_disks) {
    FillManagedDisk(slot.m_disk.managed(), vm, slot.m_name, false, slot.m_lun);
  }
}

VmVerdict Refuse(const std::string& reason) { return {kConfigurationInvalid, reason}; }

// HOST/CONTAINER/BLOB behind the scheme, none of them empty: any other address would become the path of something else.
bool IsBlobAddress(const std::string& uri) {
  constexpr std::size_t scheme = std::string_view("https://").size();
  const std::vector<std::string> parts = SplitText(uri.substr(std::min(scheme, uri.size())), '/');
  return parts.size() == 3 && uri.back() != '/' &&
         std::none_of(parts.begin(), parts.end(), [](const std::string& part) { return part.empty(); });
}

VmVerdict CheckDisk(const std::string& which, const std::string& name, const DiskOwner& disk) {
  if (!disk) {
    return Refuse(which + " " + name + " has neither a VHD address nor a managed-disk id");
  }
  if (const vm_unmanaged_disk_t* const unmanaged = disk.unmanaged()) {
    return IsBlobAddress(unmanaged->m_uri)
               ? VmVerdict{}
               : Refuse(which + " is not a blob directly in a container: " + unmanaged->m_uri);
  }
  const vm_managed_disk_t& managed = *disk.managed();
  if (managed.m_disk_resource_group.empty()) {
    return Refuse(which + " has a malformed managed-disk id: " + managed.m_disk_id);
  }
  const bool publishable = IsPathSegment(name) && IsPathSegment(managed.m_disk_resource_group);
  return publishable ? VmVerdict{}
                     : Refuse(which + " has a name or resource group that cannot be part of a path: " + name + ", " +
                              managed.m_disk_id);
}

// The snapshots of managed disks are named after machine and LUN: two of one name would be one disk's alone.
VmVerdict CheckSnapshotNames(const vm_details_t& vm) {
  bool any_managed = vm.m_is_managed;
  std::set<std::int64_t> luns;
  for (const vm_data_disks_t& slot : vm.m_storage_profile.m_data_disks) {
    if (slot.m_disk.managed() == nullptr) {
      continue;
    }
    any_managed = true;
    if (!luns.insert(slot.m_lun).second) {
      return Refuse("two of its managed data disks have the LUN " + std::to_string(slot.m_lun));
    }
  }
  return any_managed && vm.m_vm_id.empty() ? Refuse("it has managed disks, but no vmId to tell their snapshots by")
                                           : VmVerdict{};
}

// Two disks under one path would be read as one, and the other never.
VmVerdict CheckPaths(const vm_storage_profile_t& storage) {
  std::set<std::string> seen;
  const auto is_new = [&](const DiskOwner& disk, const std::string& name) {
    const vm_managed_disk_t* const managed = disk.managed();
    return managed != nullptr ? seen.insert(ToLower(managed->m_disk_resource_group + "/" + name)).second
                              : seen.insert(disk.unmanaged()->m_uri).second;
  };
  bool distinct = is_new(storage.m_os_disk.m_disk, storage.m_os_disk.m_name);
  for (std::size_t i = 0; i < static_cast<std::size_t>(storage.m_data_disk_count) && distinct; ++i) {
    distinct = is_new(storage.m_data_disks[i].m_disk, storage.m_data_disks[i].m_name);
  }
  return distinct ? VmVerdict{} : Refuse("two of its disks are one and the same");
}

VmVerdict CheckDistinct(const vm_details_t& vm) {
  const VmVerdict verdict = CheckPaths(vm.m_storage_profile);
  return verdict.status != kOk ? verdict : CheckSnapshotNames(vm);
}

// A backup that silently lacks a disk is worse than none.
VmVerdict CheckDisks(const vm_details_t& vm) {
  const vm_storage_profile_t& storage = vm.m_storage_profile;
  const auto count = static_cast<std::size_t>(storage.m_data_disk_count);
  if (storage.m_data_disk_count == kDataDisksUnreadable) {
    return Refuse("its data disks cannot be read");
  }
  if (count > storage.m_data_disks.size()) {
    return Refuse("it has " + std::to_string(count) + " data disks, at most " +
                  std::to_string(storage.m_data_disks.size()) + " can be protected");
  }
  VmVerdict verdict = CheckDisk("its OS disk", storage.m_os_disk.m_name, storage.m_os_disk.m_disk);
  for (std::size_t i = 0; i < count && verdict.status == kOk; ++i) {
    const vm_data_disks_t& slot = storage.m_data_disks[i];
    verdict = CheckDisk("its data disk " + std::to_string(i), slot.m_name, slot.m_disk);
  }
  return verdict.status != kOk ? verdict : CheckDistinct(vm);
}

// Name and resource group become parts of the paths that a machine is published under.
VmVerdict TakeIdentity(const json_t* description, vm_details_t& vm) {
  if (json_is_string(json_object_get(description, "id"))) {
    try {
      vm.m_resource_group = ResourceGroupFromId(vm.m_id);
    } catch (const std::out_of_range&) {
      return {kInvalidArgument, "its id names no resource group: " + vm.m_id};
    }
    if (!IsPathSegment(vm.m_resource_group)) {
      return {kInvalidArgument, "its id names no resource group: " + vm.m_id};
    }
  }
  if (!vm.m_name.empty() && !IsPathSegment(vm.m_name)) {
    return {kInvalidArgument, "its name cannot be part of a path: " + vm.m_name};
  }
  return {};
}

}  // namespace

VmVerdict ReadVmDescription(json_t* description, vm_details_t& vm) {
  ReadFields("ParseVMResponse", kMachine, description, vm);
  FillManagedDisks(vm);
  const VmVerdict identity = TakeIdentity(description, vm);
  return identity.status != kOk ? identity : CheckDisks(vm);
}

void ReadNetworkInterface(json_t* description, vm_network_profile_t& network) {
  ReadFields("parseNetworkInterfaceProperties", kInterfaceProperties, json_object_get(description, "properties"),
             network);
}

void KeepStorageType(const FunctionLog& log, std::string& type, const char* disk_id) {
  if (!type.empty() && !IsPathSegment(type)) {
    log.error("The storage type of the disk %s cannot be part of a path: %s", disk_id, type.c_str());
    type.clear();
  }
}

std::string ResourceGroupFromId(const std::string& id) {
  constexpr std::string_view key = "resourceGroups";
  const FunctionLog log("GetVMResourceGroupFromId");
  log.detail("Entering GetVMResourceGroupFromId : input : %s ", id.c_str());
  const std::size_t found = id.find(key);
  const std::size_t start = found == std::string::npos ? found : found + key.size() + 1;
  log.detail("Resource Group  start index %d ", static_cast<int>(start));
  const std::string tail = id.substr(start);
  std::string group = tail.substr(0, tail.find('/'));
  log.detail("Returning Resource Group %s ", group.c_str());
  return group;
}

}  // namespace azurestackpi
