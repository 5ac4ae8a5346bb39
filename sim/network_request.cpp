#include "sim/network_request.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>

#include "sim/network_json.h"
#include "sim/request_body.h"

namespace sim {
namespace {

constexpr std::size_t longest_name = 80;

/// The first address of the subnet that no other interface has; Azure keeps the first four for itself. Subnets count as
/// being of 256 addresses, which is plenty for a simulation.
std::string free_private_address(const Subscription& subscription, const std::string& nic, const Reference& network,
                                 const Subnet& subnet) {
  std::set<std::string> taken;
  for (const auto& [group_name, group] : subscription.resource_groups) {
    for (const auto& [name, other] : group.nics) {
      if (other.network == network) taken.insert(other.private_address);
    }
  }
  const std::string start = subnet.address_prefix.substr(0, subnet.address_prefix.rfind('.') + 1);
  for (int host = 4; host < 255; ++host) {
    std::string address = start + std::to_string(host);
    if (taken.count(address) == 0) return address;
  }
  throw Refusal(400, "SubnetIsFull",
                "Subnet " + subnet.name + " does not have enough capacity for IP addresses of " + nic + ".");
}

class NicRequest {
 public:
  NicRequest(const Cloud& cloud, const GroupScope& scope, const std::string& name)
      : cloud_(cloud),
        scope_(scope),
        place_{scope.name, name},
        id_(resource_id(scope.subscription.id, place_, resource_type::nic)) {}

  NetworkInterface read(ObjectReader& body) {
    pass_over_identity(body);
    nic_.location = read_location(body, cloud_, scope_);
    required_section(body, "properties", [this](ObjectReader& properties) { read_properties(properties); });
    return nic_;
  }

 private:
  void read_properties(ObjectReader& properties) {
    std::size_t configurations = 0;
    properties.each("ipConfigurations", [&](ObjectReader& configuration) {
      nic_.configuration = required_text(configuration, "name");
      required_section(configuration, "properties", [this](ObjectReader& part) { read_configuration(part); });
      ++configurations;
    });
    if (configurations != 1) properties.fail("ipConfigurations", "must be one");
    properties.section("networkSecurityGroup", [this](ObjectReader& group) {
      nic_.security_group = referenced(group, resource_type::security_group, &ResourceGroup::security_groups).place;
    });
  }

  void read_configuration(ObjectReader& configuration) {
    configuration.word("privateIPAllocationMethod", {"Dynamic"});
    configuration.word("privateIPAddressVersion", {"IPv4"});
    required_section(configuration, "subnet", [this](ObjectReader& subnet) { read_subnet(subnet); });
    configuration.section("publicIPAddress", [this](ObjectReader& address) { read_public_address(address); });
  }

  void read_subnet(ObjectReader& reader) {
    const std::string id = required_text(reader, "id");
    const std::size_t end = id.rfind('/');
    const std::size_t kind = end == std::string::npos || end == 0 ? std::string::npos : id.rfind('/', end - 1);
    if (kind == std::string::npos || !equal_ignoring_case(id.substr(kind, end - kind), "/subnets")) {
      throw reference_not_found(id, id_);
    }
    const auto network =
        located(scope_.subscription, id.substr(0, kind), resource_type::network, &ResourceGroup::networks);
    if (!network || !is_here(network->resource->location)) throw reference_not_found(id, id_);
    const auto& subnets = network->resource->subnets;
    const auto subnet = std::find_if(subnets.begin(), subnets.end(), [&](const Subnet& candidate) {
      return equal_ignoring_case(candidate.name, std::string_view(id).substr(end + 1));
    });
    if (subnet == subnets.end()) throw reference_not_found(id, id_);
    nic_.network = network->place;
    nic_.subnet = subnet->name;
    nic_.private_address = free_private_address(scope_.subscription, id_, network->place, *subnet);
  }

  void read_public_address(ObjectReader& reader) {
    const Reference place = referenced(reader, resource_type::public_address, &ResourceGroup::public_addresses).place;
    const std::string user = user_of(scope_.subscription, place);
    const std::string own = ip_configuration_id(scope_.subscription.id, place_, nic_);
    if (!user.empty() && !user.starts_with(id_ + "/")) {
      throw Refusal(400, "PublicIPAddressInUse",
                    "Resource " + own + " is referencing public IP address " +
                        resource_id(scope_.subscription.id, place, resource_type::public_address) +
                        " that is already allocated to resource " + user + ".");
    }
    nic_.public_address = place;
  }

  /// What the member "id" names.
  template <typename Resource>
  Located<Resource> referenced(ObjectReader& reader, const std::string& type,
                               Named<Resource> ResourceGroup::*kind) const {
    const std::string id = required_text(reader, "id");
    const auto found = located(scope_.subscription, id, type, kind);
    if (!found || !is_here(found->resource->location)) throw reference_not_found(id, id_);
    return *found;
  }

  bool is_here(const std::string& location) const { return equal_ignoring_case(location, nic_.location); }

  const Cloud& cloud_;
  const GroupScope& scope_;
  const Reference place_;
  const std::string id_;
  NetworkInterface nic_;
};

/// One for each name, of a network that is no one's.
std::string public_address(const Subscription& subscription) {
  std::set<std::string> taken;
  for (const auto& [group_name, group] : subscription.resource_groups) {
    for (const auto& [name, address] : group.public_addresses) taken.insert(address.address);
  }
  int host = 0;
  std::string address;
  do {
    ++host;
    address = "192.168." + std::to_string(103 + host / 254) + "." + std::to_string(host % 254 + 1);
  } while (taken.count(address) != 0);
  return address;
}

}  // namespace

NetworkInterface requested_nic(const Cloud& cloud, const GroupScope& scope, const Call& call, const std::string& name) {
  check_name(name, longest_name);
  NetworkInterface nic;
  read_body(call, [&](ObjectReader& body) { nic = NicRequest(cloud, scope, name).read(body); });
  return nic;
}

PublicAddress requested_public_address(const Cloud& cloud, const GroupScope& scope, const Call& call) {
  check_name(call.path.at("name"), longest_name);
  PublicAddress address;
  read_body(call, [&](ObjectReader& body) {
    pass_over_identity(body);
    address = {read_location(body, cloud, scope), public_address(scope.subscription)};
  });
  return address;
}

}  // namespace sim
