// The metadata objects of a machine: small texts, each carried whole in the path that it is published under.
#include "src/model/azurevm.h"

namespace azurestackpi {

void azurevm::azurestackpi_get_metapaths(const vm_details_t& vm, std::vector<std::string>& paths) {
  const std::string base = "/" + vm.m_subscription_id + "/" + vm.m_resource_group + "/" + vm.m_name + "/Metadata/";
  const vm_network_profile_t& network = vm.m_network_profile;
  paths.push_back(base + "RgName=" + vm.m_resource_group);
  paths.push_back(base + "Size=" + vm.m_vm_size);
  paths.push_back(base + "PowerState=" + vm.m_power_state);
  paths.push_back(base + "Vnet=" + network.m_vnet_name);
  paths.push_back(base + "Subnet=" + network.m_subnet);
  if (!network.m_nsg_name.empty()) {
    paths.push_back(base + "Nsg=" + network.m_nsg_name);
  }
  paths.push_back(base + "Key1=value");
  paths.push_back(base + "Key2=value");
  paths.push_back(base + "VmName=" + vm.m_name);
}

}  // namespace azurestackpi
