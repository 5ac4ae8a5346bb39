#include "sim/network_json.h"

#include <utility>

#include "sim/derived_text.h"
#include "sim/resource_json.h"

namespace sim {
namespace {

Json ip_configuration(const GroupScope& scope, const std::string& nic_id, const NetworkInterface& nic) {
  Json properties = {{"provisioningState", "Succeeded"},
                     {"privateIPAddress", nic.private_address},
                     {"privateIPAllocationMethod", "Dynamic"}};
  if (nic.public_address) {
    properties["publicIPAddress"] = {
        {"id", resource_id(scope.subscription.id, *nic.public_address, resource_type::public_address)}};
  }
  properties["subnet"] = {
      {"id", resource_id(scope.subscription.id, nic.network, resource_type::network) + "/subnets/" + nic.subnet}};
  properties["primary"] = true;
  properties["privateIPAddressVersion"] = "IPv4";
  return {{"name", nic.configuration},
          {"id", nic_id + "/ipConfigurations/" + nic.configuration},
          {"etag", etag_of(nic_id)},
          {"properties", std::move(properties)}};
}

/// A card has an address on the wire only while its machine holds resources of a host.
bool has_mac_address(const Subscription& subscription, const NetworkInterface& nic) {
  if (!nic.machine) return false;
  const auto group = subscription.resource_groups.find(nic.machine->group);
  if (group == subscription.resource_groups.end()) return false;
  const auto machine = group->second.machines.find(nic.machine->name);
  return machine != group->second.machines.end() && machine->second.power_state != "deallocated";
}

}  // namespace

/// Back references come with the group in capitals.
Json nic_json(const GroupScope& scope, const Named<NetworkInterface>::value_type& named) {
  const auto& [name, nic] = named;
  const std::string& subscription_id = scope.subscription.id;
  const std::string id = resource_id(subscription_id, scope.name, resource_type::nic, name);
  Json properties = {{"provisioningState", "Succeeded"},
                     {"resourceGuid", guid_of(id)},
                     {"ipConfigurations", Json::array({ip_configuration(scope, id, nic)})},
                     {"dnsSettings", {{"dnsServers", Json::array()}, {"appliedDnsServers", Json::array()}}}};
  if (has_mac_address(scope.subscription, nic)) properties["macAddress"] = mac_address_of(id);
  properties["enableIPForwarding"] = false;
  if (nic.security_group) {
    properties["networkSecurityGroup"] = {
        {"id", resource_id(subscription_id, *nic.security_group, resource_type::security_group)}};
  }
  properties["primary"] = nic.primary;
  if (nic.machine) {
    properties["virtualMachine"] = {{"id", resource_id(subscription_id, upper_case(nic.machine->group),
                                                       resource_type::machine, nic.machine->name)}};
  }
  return {{"name", name},
          {"id", id},
          {"etag", etag_of(id)},
          {"location", nic.location},
          {"tags", Json::object()},
          {"properties", std::move(properties)},
          {"type", resource_type::nic}};
}

std::string ip_configuration_id(const std::string& subscription_id, const Reference& place,
                                const NetworkInterface& nic) {
  return resource_id(subscription_id, place, resource_type::nic) + "/ipConfigurations/" + nic.configuration;
}

std::string user_of(const Subscription& subscription, const Reference& public_address) {
  for (const auto& [group_name, group] : subscription.resource_groups) {
    for (const auto& [name, nic] : group.nics) {
      if (nic.public_address == public_address) return ip_configuration_id(subscription.id, {group_name, name}, nic);
    }
  }
  return "";
}

/// It has an address on the wire only while it is in use.
Json public_address_json(const GroupScope& scope, const Named<PublicAddress>::value_type& named, AddressState state) {
  const auto& [name, address] = named;
  const std::string id = resource_id(scope.subscription.id, scope.name, resource_type::public_address, name);
  const std::string user = user_of(scope.subscription, {scope.name, name});
  Json properties = {{"provisioningState", state == AddressState::updating ? "Updating" : "Succeeded"},
                     {"resourceGuid", guid_of(id)}};
  if (!user.empty() && state == AddressState::succeeded) properties["ipAddress"] = address.address;
  properties["publicIPAddressVersion"] = "IPv4";
  properties["publicIPAllocationMethod"] = "Dynamic";
  properties["idleTimeoutInMinutes"] = 4;
  if (!user.empty()) properties["ipConfiguration"] = {{"id", user}};
  return {{"name", name},
          {"id", id},
          {"etag", etag_of(id)},
          {"location", address.location},
          {"properties", std::move(properties)},
          {"type", resource_type::public_address},
          {"sku", {{"name", "Basic"}}}};
}

}  // namespace sim
