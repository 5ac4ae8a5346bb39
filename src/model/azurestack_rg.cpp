#include "src/model/azurestack_rg.h"

#include <utility>

#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

void LogGroupFailure(const FunctionLog& log, const std::string& group, Status status) {
  log.error("Failed to fetch all VMs in RG %s. retval %d ", group.c_str(), static_cast<int>(status));
}

}  // namespace

azurestackRG::azurestackRG(const azs_rest_server_s& rest, vm_env_t env)
    : calls_(rest), rest_(rest), env_(std::move(env)) {}

Status azurestackRG::buildRGFromEnv() {
  const FunctionLog log(__func__);
  log.flow("Enter. ");
  if (!env_.m_resource_group.empty()) {
    return BuildOneGroup();
  }
  log.flow("No Resource Group Given ! Fetching All Resource Groups in subscription %s", env_.m_subscription_id.c_str());
  return GetAllResourceGroups();
}

Status azurestackRG::BuildOneGroup() {
  const FunctionLog log("buildRGFromEnv");
  m_resource_groups.push_back(std::make_unique<azurestack_resource_group_t>());
  azurestack_resource_group_t& group = *m_resource_groups.back();
  group.m_name = env_.m_resource_group;
  Status status = kOk;
  if (env_.m_vm_name.empty()) {
    log.flow("No VM Given ! Fetching All VMs in Resource Group %s ", group.m_name.c_str());
    status = getAllVMs(group);
    if (status != kOk) {
      LogGroupFailure(log, group.m_name, status);
    }
  } else {
    log.flow("Given VM %s ", env_.m_vm_name.c_str());
    status = getVM(group);
    if (status != kOk) {
      log.error("Failed to fetch VM %s in RG %s. retval %d ", env_.m_vm_name.c_str(), group.m_name.c_str(),
                static_cast<int>(status));
    }
  }
  log.flow("Leaving Size of resource groups: %d", static_cast<int>(m_resource_groups.size()));
  return status;
}

vm_env_t azurestackRG::GroupEnvironment(const azurestack_resource_group_t& group) const {
  vm_env_t env = env_;
  env.m_resource_group = group.m_name;
  return env;
}

Status azurestackRG::getVM(azurestack_resource_group_t& group) {
  group.m_vm = std::make_unique<azurevm>(rest_, GroupEnvironment(group));
  return group.m_vm->SelectVm(env_.m_vm_name);
}

Status azurestackRG::getAllVMs(azurestack_resource_group_t& group) {
  group.m_vm = std::make_unique<azurevm>(rest_, GroupEnvironment(group));
  return group.m_vm->GetALLVMDetails();
}

Status azurestackRG::GetAllResourceGroups() {
  const FunctionLog log(__func__);
  log.flow("Enter getVMs %d ", 1);
  const std::string subpath =
      "subscriptions/" + env_.m_subscription_id + "/resourcegroups/?api-version=" + env_.m_disk_api_version;
  log.detail("sub_url get rg :%s", subpath.c_str());
  Status status = IsPathSegment(env_.m_subscription_id) ? calls_.CreateUrl(subpath) : Status{kInvalidArgument};
  if (status != kOk) {
    log.error("Failed to create Rest Api query :%d", static_cast<int>(status));
  } else if (status = calls_.Get(); status != kOk) {
    log.error("error failed to make http request :%d", static_cast<int>(status));
  } else {
    status = ParseResourceGroups();
    if (status != kOk) {
      log.error("Resource groups parsing failed with error %d", static_cast<int>(status));
    } else {
      log.flow("Parsed All RGs. Number of RGs: %d", static_cast<int>(m_resource_groups.size()));
    }
  }
  log.flow("Leaving. rc = %d ", static_cast<int>(status));
  return status;
}

Status azurestackRG::ParseResourceGroups() {
  const FunctionLog log(__func__);
  const auto take = [&](const json_t* group) -> Status {
    const std::string name = JsonStringOrEmpty(group, "name");
    if (name.empty()) {
      log.error("A resource group is listed without a name; its VMs are not protected");
      return kOk;
    }
    return AddListedGroup(name);
  };
  const Status status = ReadList(log, calls_.response(), {"RG", "RGs", kBadJson}, take);
  if (status == kOk) {
    log.detail("Size of resource groups: %d", static_cast<int>(m_resource_groups.size()));
  }
  return status;
}

// Only a missing token ends the walk: without one no other group can be listed either.
Status azurestackRG::AddListedGroup(const std::string& name) {
  const FunctionLog log("ParseResourceGroups");
  m_resource_groups.push_back(std::make_unique<azurestack_resource_group_t>());
  azurestack_resource_group_t& group = *m_resource_groups.back();
  group.m_name = name;
  const Status status = getAllVMs(group);
  if (status != kOk) {
    LogGroupFailure(log, name, status);
  }
  return status == kNoToken ? status : kOk;
}

}  // namespace azurestackpi
