#include "src/recovery/request_bodies.h"

#include <initializer_list>
#include <string_view>

#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

std::string Join(std::initializer_list<std::string_view> pieces) {
  std::string text;
  for (const std::string_view piece : pieces) {
    text.append(piece);
  }
  return text;
}

// The data disks, each as item(number, disk) gives it.
template <typename Item>
std::string DataDisks(const std::vector<AttachedDisk>& disks, Item item) {
  std::string list;
  for (std::size_t i = 1; i < disks.size(); ++i) {
    list.append(i == 1 ? "" : ",").append(item(std::to_string(i - 1), disks[i]));
  }
  return list;
}

std::string DiagnosticsProfile(const vm_env_t& env) {
  const bool enabled = env.m_boot_diagnostics_enabled && !env.m_boot_diagnostics_storage_uri.empty();
  return enabled ? Join({R"("bootDiagnostics": { "enabled": true, "storageUri": ")",
                         EscapedForJson(env.m_boot_diagnostics_storage_uri), R"(" })"})
                 : R"("bootDiagnostics": { "enabled": false } )";
}

}  // namespace

std::string UnmanagedVmBody(const vm_env_t& env, const std::string& nic_id, const std::vector<AttachedDisk>& disks) {
  const std::string vm_name = EscapedForJson(env.m_vm_name);
  const std::string data_disks = DataDisks(disks, [&](const std::string& number, const AttachedDisk& disk) {
    return Join({R"({"lun": )", number, R"(, "name": ")", vm_name, "-data-", number,
                 R"(-restore", "createOption": "Attach", "vhd": { "uri": ")", EscapedForJson(disk.where), R"(" }})"});
  });
  const std::string tags = env.m_tags.empty() ? "" : R"(, "tags": )" + env.m_tags;
  return Join({R"({ "properties": { "hardwareProfile": { "vmSize": ")",
               EscapedForJson(env.m_vm_size),
               R"(" }, "storageProfile": {  "osDisk": { "osType": ")",
               EscapedForJson(env.m_os_type),
               R"(", "name": ")",
               vm_name,
               R"(","createOption" : "Attach", "vhd": { "uri": ")",
               EscapedForJson(disks.front().where),
               R"("}, "caching": "ReadWrite" }, "dataDisks": [)",
               data_disks,
               R"(] }, "networkProfile": {"networkInterfaces":[ { "id": ")",
               EscapedForJson(nic_id),
               R"(" } ] }, "diagnosticsProfile": {)",
               DiagnosticsProfile(env),
               R"(} }, "type": "Microsoft.Compute/virtualMachines", "location": ")",
               EscapedForJson(env.m_location),
               R"(","id": "/subscriptions/)",
               EscapedForJson(env.m_subscription_id),
               "/resourceGroups/",
               EscapedForJson(env.m_resource_group),
               "/providers/Microsoft.Compute/virtualMachines/",
               vm_name,
               R"(","name": ")",
               vm_name,
               R"(" )",
               tags,
               " }"});
}

std::string ManagedVmBody(const vm_env_t& env, const std::string& nic_id, const std::vector<AttachedDisk>& disks) {
  const std::string vm_name = EscapedForJson(env.m_vm_name);
  const std::string data_disks = DataDisks(disks, [](const std::string& /*number*/, const AttachedDisk& disk) {
    return Join({R"({"lun":)", std::to_string(disk.lun), ", ", R"( "createOption": "Attach",)",
                 R"( "managedDisk": { "id": ")", EscapedForJson(disk.where), R"(" }})"});
  });
  const std::string tags = env.m_tags.empty() ? "" : R"(,"tags": )" + env.m_tags;
  return Join({"{",
               R"("type": "Microsoft.Compute/virtualMachines")",
               R"(,"location": ")",
               EscapedForJson(env.m_location),
               R"(")",
               R"(,"id": "/subscriptions/)",
               EscapedForJson(env.m_subscription_id),
               "/resourceGroups/",
               EscapedForJson(env.m_resource_group),
               "/providers/Microsoft.Compute/virtualMachines/",
               vm_name,
               R"(")",
               R"(,"name": ")",
               vm_name,
               R"(")",
               tags,
               R"(,"properties": {)",
               R"("hardwareProfile": { "vmSize": ")",
               EscapedForJson(env.m_vm_size),
               R"("})",
               R"(,"storageProfile": { )",
               R"("osDisk": { "osType": ")",
               EscapedForJson(env.m_os_type),
               R"(")",
               R"(,"createOption" : "Attach", "managedDisk": { "id": ")",
               EscapedForJson(disks.front().where),
               R"("})",
               R"(,"caching": "ReadWrite" }, "dataDisks": [)",
               data_disks,
               "]}",
               R"(,"networkProfile": {"networkInterfaces":[{ "id": ")",
               EscapedForJson(nic_id),
               R"("}]})",
               R"(,"diagnosticsProfile": {)",
               DiagnosticsProfile(env),
               "}",
               "}",
               "}"});
}

std::string NicBody(const vm_env_t& env, const std::string& public_ip_id) {
  const std::string subscription = EscapedForJson(env.m_subscription_id);
  const std::string address =
      public_ip_id.empty() ? "" : Join({R"("publicIPAddress": {"id":  ")", EscapedForJson(public_ip_id), R"("},)"});
  const std::string group =
      env.m_nsg_name.empty()
          ? ""
          : Join({R"(,"networkSecurityGroup": {"id" : "/subscriptions/)", subscription, "/resourceGroups/",
                  EscapedForJson(env.m_nsg_resource_group), "/providers/Microsoft.Network/networkSecurityGroups/",
                  EscapedForJson(env.m_nsg_name), R"("})"});
  return Join({R"({  "location": ")", EscapedForJson(env.m_location),
               R"(","properties": {"ipConfigurations": [{"name": ")", EscapedForJson(env.m_nic_name),
               R"(","properties":{)", address, R"("subnet": {"id": "/subscriptions/)", subscription, "/resourceGroups/",
               EscapedForJson(env.m_vnet_resource_group), "/providers/Microsoft.Network/virtualNetworks/",
               EscapedForJson(env.m_vnet_name), "/subnets/", EscapedForJson(env.m_subnet), R"("}}}])", group, "}}"});
}

std::string PublicIpBody(const vm_env_t& env) {
  return Join({R"({"location":")", EscapedForJson(env.m_location), R"("})"});
}

}  // namespace azurestackpi
