#include "src/object/vm_configuration.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/config/rest_server.h"
#include "src/model/azurevm.h"
#include "src/model/vm_environment.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"

namespace azurestackpi {
namespace {

constexpr std::size_t kSubscription = 1;  // places between the slashes of a path
constexpr std::size_t kGroup = 2;
constexpr std::size_t kMachine = 3;
constexpr std::size_t kDiskGroup = 5;
constexpr std::size_t kDiskName = 6;

Status PrepareReading(const FunctionLog& log, const aapi_pgn_server_handle_s& server, vm_env_t& env,
                      azs_rest_server_s& rest) {
  if (const Status status = PrepareEnvironment(env); status != kOk) {
    return status;
  }
  std::string region;
  std::string domain;
  const Status parsed = parseAzureEndpoint(server.server_name, region, domain);
  log.flow("parsed region name %s and domain name %s ", region.c_str(), domain.c_str());
  if (parsed != kOk) {
    log.error("Server name is not in expected format");
    return parsed;
  }
  return InitRestServerHandle(&server, rest);
}

Status ReadMachine(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const std::string& vm_path,
                   vm_details_t& vm) {
  vm_env_t env;
  azs_rest_server_s rest;
  if (const Status status = PrepareReading(log, server, env, rest); status != kOk) {
    return status;
  }
  const std::vector<std::string> parts = SplitText(vm_path, '/');
  if (parts.size() <= kMachine) {
    return kInvalidArgument;
  }
  env.m_subscription_id = parts[kSubscription];
  env.m_resource_group = parts[kGroup];
  env.m_vm_name = parts[kMachine];
  azurevm reader(rest, env);
  const Status status = reader.GetVmDetails();
  if (reader.vm_details().empty()) {
    return status == kOk ? static_cast<Status>(kResourceNotFound) : status;
  }
  vm = *reader.vm_details().front();
  return kOk;
}

// A machine is kept without its networks when its interface could not be read; another look may find them.
void CompleteNetworks(const FunctionLog& log, const aapi_pgn_server_handle_s& server, vm_details_t& vm) {
  const std::string nic_id = vm.m_network_profile.m_nic_id;
  if (nic_id.empty() || !vm.m_network_profile.m_vnet_id.empty()) {
    return;
  }
  vm_env_t env;
  azs_rest_server_s rest;
  Status status = PrepareReading(log, server, env, rest);
  if (status == kOk) {
    status = azurevm(rest, env).GetNetworkInterfaceDetails(nic_id, vm);
  }
  if (status != kOk) {
    log.error("The networks of %s are not part of its backup: %s could not be read. rc : %d", vm.m_name.c_str(),
              nic_id.c_str(), static_cast<int>(status));
  }
}

bool Has(const std::string& path, const char* key) { return path.find(key) != std::string::npos; }

std::string Document(const vm_details_t& vm) {
  return R"({ "resources" : [ { "id" : ")" + vm.m_id + R"(", )" + R"("type" : ")" + vm.m_type + R"(", )" +
         R"("api-version" : "2016-03-30", )" + R"("configuration" : )" + vm.m_json + "} ] }";
}

template <typename Disk>
std::vector<Disk*> DisksOfKind(const vm_details_t& vm, Disk* (DiskOwner::*kind)() const) {
  std::vector<Disk*> disks;
  const auto add = [&](const DiskOwner& owner) {
    if (Disk* const disk = (owner.*kind)()) {
      disks.push_back(disk);
    }
  };
  add(vm.m_storage_profile.m_os_disk.m_disk);
  for (const vm_data_disks_t& slot : vm.m_storage_profile.m_data_disks) {
    add(slot.m_disk);
  }
  return disks;
}

}  // namespace

Status FindVmDetails(const aapi_pgn_server_handle_s& server, const std::string& path, vm_details_t*& vm) {
  const FunctionLog log("azurestackpi_get_vm_details");
  std::string vm_path;
  azurestackpi_get_vmpath(path, vm_path);
  if (vm_path.empty()) {
    log.error("Invalid path: %s", path.c_str());
    return kInvalidArgument;
  }
  auto entry = vm_details_recovery_map().find(vm_path);
  if (entry == vm_details_recovery_map().end()) {
    vm_details_t read;
    if (const Status status = ReadMachine(log, server, vm_path, read); status != kOk) {
      log.error("Failed to get VM details.");
      return status;
    }
    entry = vm_details_recovery_map().emplace(vm_path, std::move(read)).first;
  }
  vm = &entry->second;
  return kOk;
}

Status azurestackpi_get_vm_details(const std::string& path, const aapi_pgn_server_handle_s& server, std::string& data) {
  const FunctionLog log(__func__);
  vm_details_t* vm = nullptr;
  if (const Status status = FindVmDetails(server, path, vm); status != kOk) {
    return status;
  }
  if (Has(path, "/VmName=")) {
    data = Document(*vm);
    log.detail("Got VM configuration %s", data.c_str());
  } else if (Has(path, "/Vnet=")) {
    CompleteNetworks(log, server, *vm);
    data = vm->m_network_profile.m_vnet_id;
  } else if (Has(path, "/Nsg=")) {
    CompleteNetworks(log, server, *vm);
    data = vm->m_network_profile.m_nsg_id;
  } else {
    data = "METADATA_FILE";
  }
  return kOk;
}

std::vector<vm_managed_disk_t*> ManagedDisksOf(const vm_details_t& vm) { return DisksOfKind(vm, &DiskOwner::managed); }

std::vector<vm_unmanaged_disk_t*> UnmanagedDisksOf(const vm_details_t& vm) {
  return DisksOfKind(vm, &DiskOwner::unmanaged);
}

std::string ManagedDiskPath(const std::string& vm_path, const vm_managed_disk_t& disk) {
  return vm_path + "/ManagedDisks:" + disk.m_storage_account_type + "/" + disk.m_disk_resource_group + "/" +
         disk.m_disk_name;
}

std::string UnmanagedDiskPath(const std::string& vm_path, const vm_unmanaged_disk_t& disk) {
  constexpr std::string_view scheme = "https://";
  return vm_path + "/" + disk.m_uri.substr(std::min(scheme.size(), disk.m_uri.size()));
}

vm_managed_disk_t* FindManagedDisk(const vm_details_t& vm, const std::string& path) {
  const FunctionLog log(__func__);
  const std::vector<std::string> parts = SplitText(path, '/');
  if (parts.size() <= kDiskName) {
    return nullptr;
  }
  std::vector<vm_managed_disk_t*> elsewhere;
  for (vm_managed_disk_t* const disk : ManagedDisksOf(vm)) {
    log.detail("disk name %s managed disk name %s", parts[kDiskName].c_str(), disk->m_disk_name.c_str());
    if (disk->m_disk_name != parts[kDiskName]) {
      continue;
    }
    if (EqualIgnoringCase(disk->m_disk_resource_group, parts[kDiskGroup])) {
      return disk;
    }
    elsewhere.push_back(disk);
  }
  return elsewhere.size() == 1 ? elsewhere.front() : nullptr;
}

}  // namespace azurestackpi
