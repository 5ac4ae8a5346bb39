#include "sim/network_routes.h"

#include "sim/derived_text.h"
#include "sim/json_response.h"
#include "sim/resource_json.h"
#include "sim/scope.h"

namespace sim {
namespace {

const std::vector<std::string> versions = {"2015-06-15", "2017-10-01", "2018-11-01"};

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
  return {{"name", "ipconfig1"},
          {"id", nic_id + "/ipConfigurations/ipconfig1"},
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

Response subnet_list(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const auto network = scope.group.networks.find(call.path.at("name"));
  if (network == scope.group.networks.end()) {
    throw Refusal(404, "ParentResourceNotFound",
                  "Can not perform requested operation on nested resource. Parent resource '" + call.path.at("name") +
                      "' not found.");
  }
  const std::string id = resource_id(scope.subscription.id, scope.name, resource_type::network, network->first);
  Json subnets = Json::array();
  for (const Subnet& subnet : network->second.subnets) {
    subnets.push_back({{"name", subnet.name},
                       {"id", id + "/subnets/" + subnet.name},
                       {"etag", etag_of(id)},
                       {"properties", {{"provisioningState", "Succeeded"}, {"addressPrefix", subnet.address_prefix}}}});
  }
  return printed_json_response(200, {{"value", std::move(subnets)}});
}

}  // namespace

void add_network_routes(RouteTable& routes, Cloud& cloud) {
  routes.add({.service = Service::management,
              .method = "GET",
              .path = group_path(resource_type::nic) + "/{name}",
              .answer =
                  [&cloud](const Call& call) {
                    const GroupScope scope = group_of(cloud, call);
                    return printed_json_response(
                        200, nic_json(scope, resource_of(scope.group.nics, call, resource_type::nic)));
                  },
              .api_versions = versions,
              .resource_type = resource_type::nic});
  routes.add({.service = Service::management,
              .method = "GET",
              .path = group_path(resource_type::network) + "/{name}/subnets",
              .answer = [&cloud](const Call& call) { return subnet_list(cloud, call); },
              .api_versions = versions,
              .resource_type = resource_type::subnet});
}

}  // namespace sim
