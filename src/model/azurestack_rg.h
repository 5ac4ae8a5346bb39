// The machines that a selection means: one, all of a resource group, or all of a subscription.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "src/model/azurevm.h"

namespace azurestackpi {

/// A resource group and its machines; owns their reader and with it their records.
struct azurestack_resource_group_t {
  std::string m_name;
  std::unique_ptr<azurevm> m_vm;  // null until the machines were asked for
};

/// Resolves a request environment into resource groups.
class azurestackRG {
 public:
  azurestackRG(const azs_rest_server_s& rest, vm_env_t env);
  azurestackRG(const azurestackRG&) = delete;
  azurestackRG& operator=(const azurestackRG&) = delete;

  /// Reads the machine, group or subscription that the environment names. A machine that cannot be read, is refused or
  /// filtered out is left out with a line that names it; a group of a whole subscription that cannot be listed is
  /// passed over. Returns 0, 6011 without a token, or why the list of groups or of the one group could not be had.
  Status buildRGFromEnv();

  /// Groups in the order found, those that could not be listed included; owned here.
  const std::vector<std::unique_ptr<azurestack_resource_group_t>>& resource_groups() const { return m_resource_groups; }

 private:
  Status BuildOneGroup();
  Status GetAllResourceGroups();
  Status ParseResourceGroups();
  Status AddListedGroup(const std::string& name);
  Status getVM(azurestack_resource_group_t& group);
  Status getAllVMs(azurestack_resource_group_t& group);
  vm_env_t GroupEnvironment(const azurestack_resource_group_t& group) const;

  ResourceCalls calls_;
  azs_rest_server_s rest_;
  vm_env_t env_;
  std::vector<std::unique_ptr<azurestack_resource_group_t>> m_resource_groups;
};

}  // namespace azurestackpi
