#include "src/model/azurevm.h"

#include <utility>

#include "src/base/text.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

// Disks are read with a version of their own: the oldest that every Azure Stack knows.
constexpr const char* kDiskReadApiVersion = "2017-03-30";

int Count(std::size_t size) { return static_cast<int>(size); }

// Tells an operator that a machine is not part of the backup, and why.
void LogLeftOut(const std::string& path, const VmVerdict& verdict) {
  const FunctionLog log("GetVmDetails");
  const std::string reason = verdict.reason.empty()
                                 ? "status " + std::to_string(verdict.status) + ", " + StatusText(verdict.status)
                                 : verdict.reason;
  if (verdict.filtered) {
    log.flow("VM %s is not protected: %s", path.c_str(), reason.c_str());
  } else {
    log.error("VM %s is not protected: %s", path.c_str(), reason.c_str());
  }
}

}  // namespace

azurevm::azurevm(const azs_rest_server_s& rest, vm_env_t env) : calls_(rest), env_(std::move(env)) {
  const FunctionLog log(__func__);
  log.flow("Entering");
}

azurevm::~azurevm() {
  const FunctionLog log(__func__);
  log.detail("Number of data disks to free: %d", Count(m_vm_details.size()));
}

std::string azurevm::GroupSubpath() const {
  return "subscriptions/" + env_.m_subscription_id + "/resourcegroups/" + env_.m_resource_group +
         "/providers/Microsoft.Compute/virtualMachines";
}

// Asks for a path of the management endpoint.
Status azurevm::Get(const FunctionLog& log, const std::string& subpath) {
  if (const Status status = calls_.CreateUrl(subpath); status != kOk) {
    log.error("Failed to create Rest Api query");
    return status;
  }
  return calls_.Get();
}

Status azurevm::GetVmDetails() { return GetVmDetails(env_.m_vm_name); }

Status azurevm::GetVmDetails(const std::string& vm_name) { return ReadVm(vm_name).status; }

Status azurevm::SelectVm(const std::string& vm_name) {
  const std::size_t before = m_vm_details.size();
  const VmVerdict verdict = ReadVm(vm_name);
  if (m_vm_details.size() == before) {
    LogLeftOut("/" + env_.m_subscription_id + "/" + env_.m_resource_group + "/" + vm_name, verdict);
  }
  return verdict.status == kNoToken ? kNoToken : kOk;
}

VmVerdict azurevm::ReadVm(const std::string& vm_name) {
  const FunctionLog log("GetVmDetails");
  if (!IsPathSegment(env_.m_subscription_id) || !IsPathSegment(env_.m_resource_group) || !IsPathSegment(vm_name)) {
    log.error("Failed to create Rest Api query");
    return {kInvalidArgument, "its path cannot be part of an address"};
  }
  const std::string subpath =
      GroupSubpath() + "/" + vm_name + "?api-version=" + env_.m_compute_api_version + "&$expand=instanceView";
  if (const Status status = Get(log, subpath); status != kOk) {
    return {status, ""};
  }
  log.detail("Size of m_vm_details: %d", Count(m_vm_details.size()));
  auto vm = std::make_unique<vm_details_t>();
  vm->m_subscription_id = env_.m_subscription_id;
  vm->m_resource_group = env_.m_resource_group;
  VmVerdict verdict = ParseVMResponse(vm_name, *vm);
  if (verdict.status != kOk) {
    log.flow(" The given VM can't be selected because of a filter mismatch for vm %s ", vm_name.c_str());
    return verdict;
  }
  if (vm->m_name.empty()) {
    vm->m_name = vm_name;
  }
  if (GetDiskStorageAccoutType(*vm) != kOk) {
    log.error("Failed to get disk storageAccountType properties for vm %s", vm_name.c_str());
  }
  verdict.status = GetNetworkInterfaceDetails(vm->m_network_profile.m_nic_id, *vm);
  if (verdict.status != kOk) {
    log.error("Failed to fetch the network properties for vm %s", vm_name.c_str());
  }
  m_vm_details.push_back(std::move(vm));
  log.detail("Size of m_vm_details: %d", Count(m_vm_details.size()));
  log.detail("Contents of m_vm_details[0].m_id: %s", m_vm_details.front()->m_id.c_str());
  return verdict;
}

VmVerdict azurevm::ParseVMResponse(const std::string& vm_name, vm_details_t& vm) {
  const FunctionLog log(__func__);
  JsonPtr root;
  if (const Status status = OpenAnswer(log, calls_.response(), "vm", root); status != kOk) {
    return {status, WhyUnusable(calls_.response())};
  }
  vm.m_json = calls_.response().body;
  VmVerdict verdict = ReadVmDescription(root.get(), vm);
  if (verdict.status != kOk) {
    return verdict;
  }
  if (!IsTheMachine(vm_name, vm)) {
    return {kInvalidArgument,
            "Resource Manager answered with another machine: " + (vm.m_id.empty() ? vm.m_name : vm.m_id)};
  }
  return ApplyFilter(vm);
}

// The disks of another one would be backed up under the path of the machine that was asked for. What an answer does not
// tell of itself is taken as asked for.
bool azurevm::IsTheMachine(const std::string& vm_name, const vm_details_t& vm) const {
  if (!vm.m_name.empty() && !EqualIgnoringCase(vm.m_name, vm_name)) {
    return false;
  }
  constexpr std::size_t subscription = 2;  // of "/subscriptions/S/..."
  const std::vector<std::string> parts = SplitText(vm.m_id, '/');
  return vm.m_id.empty() ||
         (parts.size() > subscription && EqualIgnoringCase(parts[subscription], env_.m_subscription_id) &&
          EqualIgnoringCase(vm.m_resource_group, env_.m_resource_group) &&
          EqualIgnoringCase(LastPathComponent(vm.m_id), vm_name));
}

VmVerdict azurevm::ApplyFilter(const vm_details_t& vm) const {
  const FunctionLog log("ParseVMResponse");
  const std::string& wanted = env_.m_vm_state_filter;
  log.detail("Applying filters. vm state %s ", wanted.c_str());
  if (wanted.empty() || EqualIgnoringCase(wanted, vm.m_power_state)) {
    return {};
  }
  log.flow("Power state = %s for VM %s is doesn't satisfy vm_state filter", vm.m_name.c_str(), wanted.c_str());
  return {kInvalidArgument, "its power state is \"" + vm.m_power_state + "\", not \"" + wanted + "\"", true};
}

Status azurevm::GetResource(const FunctionLog& log, const std::string& id, const std::string& api_version,
                            const char* kind, JsonPtr& root) {
  if (id.empty() || !IsUrlPath(id)) {
    log.error("Failed to create Rest Api query");
    return kInvalidArgument;
  }
  const std::string subpath = id + "?api-version=" + api_version;
  log.detail("%s suburl %s", kind, subpath.c_str());
  if (const Status status = Get(log, subpath); status != kOk) {
    return status;
  }
  log.detail("Contents of response body: %s", calls_.response().body.c_str());
  return OpenAnswer(log, calls_.response(), kind, root);
}

Status azurevm::GetNetworkInterfaceDetails(const std::string& nic_id, vm_details_t& vm) {
  const FunctionLog log(__func__);
  if (nic_id.empty()) {
    log.error("The VM %s has no network interface", vm.m_name.c_str());
    return kInvalidArgument;
  }
  JsonPtr root;
  const Status status = GetResource(log, nic_id, env_.m_network_api_version, "NIC", root);
  if (status == kOk) {
    ReadNetworkInterface(root.get(), vm.m_network_profile);
    if (vm.m_network_profile.m_vnet_id.empty()) {
      log.error("The network interface %s names no virtual network; the VM %s is described without one", nic_id.c_str(),
                vm.m_name.c_str());
    }
  }
  return status;
}

Status azurevm::GetDiskStorageAccoutType(vm_details_t& vm) {
  const FunctionLog log(__func__);
  log.flow("Enter");
  const vm_storage_profile_t& storage = vm.m_storage_profile;
  Status result = CompleteDiskType(storage.m_os_disk.m_disk.managed(), "OS");
  log.detail("Number of data disks to free: %d", storage.m_data_disk_count);
  for (const vm_data_disks_t& slot : storage.m_data_disks) {
    if (const Status status = CompleteDiskType(slot.m_disk.managed(), "data"); status != kOk) {
      result = status;
    }
  }
  return result;
}

Status azurevm::CompleteDiskType(vm_managed_disk_t* disk, const char* kind) {
  if (disk == nullptr) {
    return kOk;
  }
  const FunctionLog log("GetDiskStorageAccoutType");
  const char* const id = disk->m_disk_id.c_str();
  std::string& type = disk->m_storage_account_type;
  if (!type.empty()) {
    log.detail("Got storageAccountType from VM Details for %s disk, disk ID: %s, StorageAccountType = %s", kind, id,
               type.c_str());
    return kOk;
  }
  log.detail("Get storageAccountType for %s disk, disk ID: %s, StorageAccountType = %s", kind, id, type.c_str());
  if (const Status status = getDiskStorageAccoutType(disk->m_disk_id, type); status != kOk) {
    log.error("Failed to get storageAccountType disk ID: %s", id);
    return status;
  }
  log.detail("Found StorageAccountType = %s", type.c_str());
  return kOk;
}

Status azurevm::getDiskStorageAccoutType(const std::string& disk_id, std::string& type) {
  JsonPtr root;
  if (const Status status = GetResource(FunctionLog(__func__), disk_id, kDiskReadApiVersion, "Disk", root);
      status != kOk) {
    return status;
  }
  const FunctionLog log("parseDiskInfo");
  const json_t* const sku = json_object_get(root.get(), "sku");
  if (!json_is_object(sku)) {
    log.error("sku key not found in disk command response");
    return kResourceNotFound;
  }
  type = JsonStringOrEmpty(sku, "name");
  KeepStorageType(log, type, disk_id.c_str());
  log.detail("Received Storage account type : %s", type.c_str());
  return type.empty() ? kResourceNotFound : kOk;
}

Status azurevm::GetALLVMDetails() {
  const FunctionLog log(__func__);
  log.flow("Enter.");
  if (env_.m_resource_group.empty()) {
    log.error("Invalid Config. No Resource Group Given ! ");
    return kInvalidArgument;
  }
  log.flow("Single Resource Group Detected ! ");
  if (!IsPathSegment(env_.m_subscription_id) || !IsPathSegment(env_.m_resource_group)) {
    log.error("Failed to create Rest Api query");
    return kInvalidArgument;
  }
  Status status = Get(log, GroupSubpath() + "?api-version=" + env_.m_compute_api_version);
  status = status != kOk ? status : ParseALLVMResponse();
  if (status != kOk) {
    log.error("Parsing of VM's response failed with error %d", static_cast<int>(status));
    return status;
  }
  log.flow("Dumping VMs to be backed up ... \n ");
  for (std::size_t i = 0; i < m_vm_details.size(); ++i) {
    log.detail("Contents of m_vm_details[%d]->m_id: %s", Count(i), m_vm_details[i]->m_id.c_str());
  }
  return kOk;
}

Status azurevm::ParseALLVMResponse() {
  const FunctionLog log(__func__);
  return ReadList(log, calls_.response(), {"vm", "VMs", kBadJson}, [&](const json_t* element) -> Status {
    const std::string name = JsonStringOrEmpty(element, "name");
    if (name.empty()) {
      LogLeftOut(JsonStringOrEmpty(element, "id"), {kInvalidArgument, "it is listed without a name"});
      return kOk;
    }
    log.detail("vm_name = %s", name.c_str());
    return SelectVm(name);
  });
}

Status azurevm::GetOsDiskSizes() {
  const FunctionLog log(__func__);
  log.flow("Fetching OS Disk Sizes from Azure Stack");
  Status status = kInvalidArgument;
  if (IsPathSegment(env_.m_subscription_id)) {
    status =
        Get(log, "subscriptions/" + env_.m_subscription_id +
                     "/providers/Microsoft.Compute/locations/local/vmSizes?api-version=" + env_.m_compute_api_version);
  }
  if (status != kOk) {
    log.error("Failed to make REST call for Fetching OS Disk Sizes from Azure Stack");
    return status;
  }
  return ParseVMSizesResponse();
}

Status azurevm::ParseVMSizesResponse() {
  const FunctionLog log(__func__);
  const Status status = ReadList(log, calls_.response(), {"vmSize", "VM Sizes"}, [&](const json_t* element) {
    const std::string name = JsonStringOrEmpty(element, "name");
    if (name.empty()) {
      log.error("Failed to get VM Size name ");
    }
    const json_t* const megabytes = json_object_get(element, "osDiskSizeInMB");
    if (!json_is_integer(megabytes)) {
      log.error("Failed to get VM OS Disk Size ");
    }
    const json_int_t gigabytes = json_integer_value(megabytes) / 1024;
    m_os_disk_sizes.emplace(name, gigabytes > 0 ? static_cast<std::uint64_t>(gigabytes) : 0);
    log.detail("VM SIZE : %s = %d \n", name.c_str(), static_cast<int>(gigabytes));
    return kOk;
  });
  if (status != kOk) {
    return status;
  }
  for (const auto& [name, gigabytes] : m_os_disk_sizes) {
    log.detail("VM Size : %s OS DISK SIZE %llu ", name.c_str(), static_cast<unsigned long long>(gigabytes));
  }
  return kOk;
}

Status azurevm::ParseResources(const std::string& text, vm_details_t& vm) {
  const FunctionLog log(__func__);
  log.flow("Entering");
  JsonPtr root;
  if (const Status status = OpenJson(log, text, root); status != kOk) {
    return status;
  }
  const json_t* const resources = json_object_get(root.get(), "resources");
  if (!json_is_array(resources)) {
    return kBadJson;
  }
  for (std::size_t i = 0; i < json_array_size(resources); ++i) {
    const json_t* const resource = json_array_get(resources, i);
    const std::string type = JsonStringOrEmpty(resource, "type");
    log.detail("Type of the resource : [%s]", type.c_str());
    if (type != "Microsoft.Compute/virtualMachines") {
      continue;
    }
    log.flow("Calling ParseVMResponse.");
    const VmVerdict verdict = ReadVmDescription(json_object_get(resource, "configuration"), vm);
    if (verdict.status != kOk) {
      log.error("Failed to parse resource configuration. %s", verdict.reason.c_str());
      return verdict.status;
    }
  }
  log.flow("Exiting");
  return kOk;
}

}  // namespace azurestackpi
