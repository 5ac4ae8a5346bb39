// The bodies, to the letter: what a service takes today it may not take tomorrow in another form.
#include "src/recovery/request_bodies.h"

#include <gtest/gtest.h>
#include <jansson.h>

#include "src/base/owners.h"

namespace recovery_test {
namespace {

using namespace azurestackpi;

vm_env_t FullMachine() {
  vm_env_t env;
  env.m_subscription_id = "s1";
  env.m_resource_group = "g1";
  env.m_location = "local";
  env.m_vm_name = "vm1";
  env.m_vm_size = "Standard_A1";
  env.m_os_type = "Linux";
  env.m_tags = R"({"k\"":"v"})";
  env.m_nic_name = "nic1";
  env.m_vnet_name = "v1";
  env.m_vnet_resource_group = "vg";
  env.m_subnet = "sub1";
  env.m_nsg_resource_group = "ng";
  env.m_nsg_name = "n1";
  env.m_boot_diagnostics_enabled = true;
  env.m_boot_diagnostics_storage_uri = "https://d.blob.x/";
  return env;
}

TEST(RequestBodies, OfAMachineWithManagedDisks) {
  EXPECT_EQ(
      ManagedVmBody(FullMachine(), "/nic", {{"/os"}, {"/d2", 2}, {"/d0", 0}}),
      R"({"type": "Microsoft.Compute/virtualMachines","location": "local","id": "/subscriptions/s1/resourceGroups/g1/)"
      R"(providers/Microsoft.Compute/virtualMachines/vm1","name": "vm1","tags": {"k\"":"v"},"properties": )"
      R"({"hardwareProfile": { "vmSize": "Standard_A1"},"storageProfile": { "osDisk": { "osType": "Linux",)"
      R"("createOption" : "Attach", "managedDisk": { "id": "/os"},"caching": "ReadWrite" }, "dataDisks": [{"lun":2,  )"
      R"("createOption": "Attach", "managedDisk": { "id": "/d2" }},{"lun":0,  "createOption": "Attach", "managedDisk": )"
      R"({ "id": "/d0" }}]},"networkProfile": {"networkInterfaces":[{ "id": "/nic"}]},"diagnosticsProfile": )"
      R"({"bootDiagnostics": { "enabled": true, "storageUri": "https://d.blob.x/" }}}})");
}

TEST(RequestBodies, OfAMachineWithVhds) {
  EXPECT_EQ(
      UnmanagedVmBody(FullMachine(), "/nic", {{"https://os"}, {"https://d0"}, {"https://d1"}}),
      R"({ "properties": { "hardwareProfile": { "vmSize": "Standard_A1" }, "storageProfile": {  "osDisk": { "osType": )"
      R"("Linux", "name": "vm1","createOption" : "Attach", "vhd": { "uri": "https://os"}, "caching": "ReadWrite" }, )"
      R"("dataDisks": [{"lun": 0, "name": "vm1-data-0-restore", "createOption": "Attach", "vhd": { "uri": "https://d0" }},)"
      R"({"lun": 1, "name": "vm1-data-1-restore", "createOption": "Attach", "vhd": { "uri": "https://d1" }}] }, )"
      R"("networkProfile": {"networkInterfaces":[ { "id": "/nic" } ] }, "diagnosticsProfile": {"bootDiagnostics": { )"
      R"("enabled": true, "storageUri": "https://d.blob.x/" }} }, "type": "Microsoft.Compute/virtualMachines", )"
      R"("location": "local","id": "/subscriptions/s1/resourceGroups/g1/providers/Microsoft.Compute/virtualMachines/)"
      R"(vm1","name": "vm1" , "tags": {"k\"":"v"} })");
}

TEST(RequestBodies, OfANetworkInterface) {
  EXPECT_EQ(NicBody(FullMachine(), "/pip"),
            R"({  "location": "local","properties": {"ipConfigurations": [{"name": "nic1","properties":)"
            R"({"publicIPAddress": {"id":  "/pip"},"subnet": {"id": "/subscriptions/s1/resourceGroups/vg/providers/)"
            R"(Microsoft.Network/virtualNetworks/v1/subnets/sub1"}}}],"networkSecurityGroup": {"id" : "/subscriptions/)"
            R"(s1/resourceGroups/ng/providers/Microsoft.Network/networkSecurityGroups/n1"}}})");
  EXPECT_EQ(PublicIpBody(FullMachine()), R"({"location":"local"})");
}

TEST(RequestBodies, AreJsonWhateverMayBeMissingAndWhateverValuesHold) {
  const std::string evil = R"(a","x\)";
  vm_env_t env = FullMachine();
  for (std::string vm_env_t::*const field :
       {&vm_env_t::m_subscription_id, &vm_env_t::m_resource_group, &vm_env_t::m_location, &vm_env_t::m_vm_name,
        &vm_env_t::m_vm_size, &vm_env_t::m_os_type, &vm_env_t::m_nic_name, &vm_env_t::m_vnet_name,
        &vm_env_t::m_vnet_resource_group, &vm_env_t::m_subnet, &vm_env_t::m_nsg_name, &vm_env_t::m_nsg_resource_group,
        &vm_env_t::m_boot_diagnostics_storage_uri}) {
    env.*field = evil;
  }
  for (const bool full : {true, false}) {
    if (!full) {
      env.m_tags.clear();
      env.m_nsg_name.clear();
      env.m_boot_diagnostics_enabled = false;
    }
    for (const std::string& body : {ManagedVmBody(env, evil, {{evil}, {evil}}), UnmanagedVmBody(env, evil, {{evil}}),
                                    NicBody(env, full ? evil : ""), PublicIpBody(env)}) {
      json_error_t error{};
      const JsonPtr root(json_loads(body.c_str(), JSON_REJECT_DUPLICATES, &error));
      ASSERT_TRUE(root) << error.text << "\n" << body;
      EXPECT_STREQ(json_string_value(json_object_get(root.get(), "location")), evil.c_str());
    }
  }
}

}  // namespace
}  // namespace recovery_test
