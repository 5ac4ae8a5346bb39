#include "sim/network_routes.h"

#include <utility>

#include "sim/network_json.h"
#include "sim/network_request.h"
#include "sim/operation_routes.h"
#include "sim/resource_json.h"

namespace sim {
namespace {

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

Response nic(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  return printed_json_response(200, nic_json(scope, resource_of(scope.group.nics, call, resource_type::nic)));
}

/// Of one that is there already, the machine stays.
Response put_nic(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  auto& nics = scope.group.nics;
  const auto present = nics.find(call.path.at("name"));
  const bool is_new = present == nics.end();
  const std::string name = is_new ? call.path.at("name") : present->first;
  NetworkInterface made = requested_nic(cloud, scope, call, name);
  if (!is_new) {
    made.machine = present->second.machine;
    made.primary = present->second.primary;
    if (made.network == present->second.network && made.subnet == present->second.subnet) {
      made.private_address = present->second.private_address;
    }
  }
  const auto& named = *nics.insert_or_assign(name, std::move(made)).first;
  return resource_response(cloud, call, start_operation(cloud, scope.subscription, network_operation), is_new,
                           nic_json(scope, named));
}

Response remove_nic(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const auto found = scope.group.nics.find(call.path.at("name"));
  if (found == scope.group.nics.end()) return {.status = 204};
  const std::string& subscription_id = scope.subscription.id;
  if (found->second.machine) {
    throw Refusal(400, "NicInUse",
                  "Network Interface " + resource_id(subscription_id, scope.name, resource_type::nic, found->first) +
                      " is used by existing VM " +
                      resource_id(subscription_id, *found->second.machine, resource_type::machine) + ".");
  }
  scope.group.nics.erase(found);
  return accepted_response(cloud, call, start_operation(cloud, scope.subscription, network_operation));
}

Response public_address(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  return printed_json_response(
      200, public_address_json(scope, resource_of(scope.group.public_addresses, call, resource_type::public_address)));
}

Response put_public_address(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const PublicAddress wanted = requested_public_address(cloud, scope, call);
  const auto [made, is_new] = scope.group.public_addresses.emplace(call.path.at("name"), wanted);
  return resource_response(cloud, call, start_operation(cloud, scope.subscription, network_operation), is_new,
                           public_address_json(scope, *made, AddressState::updating));
}

Response remove_public_address(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const auto found = scope.group.public_addresses.find(call.path.at("name"));
  if (found == scope.group.public_addresses.end()) return {.status = 204};
  const std::string user = user_of(scope.subscription, {scope.name, found->first});
  if (!user.empty()) {
    throw Refusal(400, "PublicIPAddressCannotBeDeleted",
                  "Public IP address " +
                      resource_id(scope.subscription.id, scope.name, resource_type::public_address, found->first) +
                      " can not be deleted since it is still allocated to resource " + user + ".");
  }
  scope.group.public_addresses.erase(found);
  return accepted_response(cloud, call, start_operation(cloud, scope.subscription, network_operation));
}

}  // namespace

void add_network_routes(RouteTable& routes, Cloud& cloud) {
  const std::string nic_path = group_path(resource_type::nic) + "/{name}";
  ProviderRoutes nics(routes, cloud, resource_type::nic, api_versions::network);
  nics.add("GET", nic_path, nic);
  nics.add("PUT", nic_path, put_nic);
  nics.add("DELETE", nic_path, remove_nic);
  const std::string address_path = group_path(resource_type::public_address) + "/{name}";
  ProviderRoutes addresses(routes, cloud, resource_type::public_address, api_versions::network);
  addresses.add("GET", address_path, public_address);
  addresses.add("PUT", address_path, put_public_address);
  addresses.add("DELETE", address_path, remove_public_address);
  ProviderRoutes(routes, cloud, resource_type::subnet, api_versions::network)
      .add("GET", group_path(resource_type::network) + "/{name}/subnets", subnet_list);
}

}  // namespace sim
