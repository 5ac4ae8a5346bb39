// The networks of subscriptions: security groups, virtual networks and the subnet to use of each.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "src/base/server_handle.h"
#include "src/model/azurestack_resource.h"

namespace azurestackpi {

/// Orders texts without regard to letter case: Resource Manager spells one id in several ways.
struct CaselessOrder {
  bool operator()(std::string_view left, std::string_view right) const;
};

/// One per process, for the server that made it, until destroyInstance. A subscription is listed at the first question
/// about it; what is known is not refreshed.
class azurestack_network final : public azurestack_resource {
 public:
  /// Makes the instance, without a request; an existing one is kept. Returns 0, or 6601 for an unusable server.
  static Status createInstance(const aapi_pgn_server_handle_s* server);

  /// Null when there is none.
  static azurestack_network* getInstance();

  static void destroyInstance();

  explicit azurestack_network(const azs_rest_server_s& rest) : azurestack_resource(rest) {}

  /// Splits "/subscriptions/S/resourceGroups/R/providers/N/T/X" into S, R, T and X. False, with nothing set, for an id
  /// of another number of parts.
  static bool parseResourceId(const std::string& id, std::string& subscription, std::string& resource_group,
                              std::string& type, std::string& name);

  /// Appends the id kept for a resource group: the first listed. 6601 when there is none.
  Status listNsgs(const std::string& subscription, const std::string& resource_group, std::vector<std::string>& ids);
  Status listVnets(const std::string& subscription, const std::string& resource_group, std::vector<std::string>& ids);

  /// Appends all ids kept for a subscription, in the order of their groups. 6601 when there is none.
  Status listNsgs(const std::string& subscription, std::vector<std::string>& ids);
  Status listVnets(const std::string& subscription, std::vector<std::string>& ids);

  /// The id of that name in a subscription, in that resource group if there is one; empty when there is none. Looks at
  /// all that were listed, where the lists above have one of each group.
  std::string findNsg(const std::string& subscription, const std::string& resource_group, const std::string& name);
  std::string findVnet(const std::string& subscription, const std::string& resource_group, const std::string& name);

  /// The subnet of a virtual network: "default" when it has one, else the last listed. Returns 0; 6797 when it has
  /// none, 6601 for an id that cannot be an address, or why the subnets could not be listed.
  Status getSubnet(const std::string& vnet_id, std::string& subnet);

  /// True when the virtual network has that subnet. Without a request once getSubnet returned 0 for it.
  bool hasSubnet(const std::string& vnet_id, const std::string& subnet);

 private:
  using GroupMap = std::map<std::string, std::string, CaselessOrder>;  // resource group to id
  using ResourceMap = std::map<std::string, GroupMap, CaselessOrder>;  // subscription to its groups
  struct Subnets {
    std::string chosen;
    std::set<std::string, CaselessOrder> names;
  };
  using SubnetMap = std::map<std::string, Subnets, CaselessOrder>;  // virtual network id to its subnets

  Status listResources(const std::string& subscription);
  Status ParseAllResources();
  void AddResource(const std::string& id);
  static void addToMap(ResourceMap& map, const std::string& subscription, const std::string& resource_group,
                       const std::string& id);
  bool fetchResources(const ResourceMap& map, const std::string& subscription);
  Status ListInGroup(const ResourceMap& map, const std::string& subscription, const std::string& resource_group,
                     std::vector<std::string>& ids);
  Status ListAll(const ResourceMap& map, const std::string& subscription, std::vector<std::string>& ids);
  std::string Find(const ResourceMap& map, const std::string& subscription, const std::string& resource_group,
                   const std::string& type, const std::string& name);
  Status ParseSubnet(const std::string& vnet_id);

  ResourceMap nsgs_;
  ResourceMap vnets_;
  std::vector<std::string> ids_;  // all that were listed, in their order
  SubnetMap subnets_;
};

}  // namespace azurestackpi
