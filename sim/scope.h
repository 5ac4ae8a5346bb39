// What the path of a request names: its subscription, its resource group and the resource in it.
#pragma once

#include <string>

#include "sim/cloud.h"
#include "sim/refusal.h"
#include "sim/resource_id.h"
#include "sim/route_table.h"

namespace sim {

/// The route's {subscriptionId}. Throws Refusal (404 SubscriptionNotFound).
Subscription& subscription_of(Cloud& cloud, const Call& call);

/// A resource group with its name as created.
struct GroupScope {
  Subscription& subscription;
  const std::string& name;
  ResourceGroup& group;
};

/// The route's {subscriptionId} and {group}. Throws Refusal (404 SubscriptionNotFound, ResourceGroupNotFound).
GroupScope group_of(Cloud& cloud, const Call& call);

/// The 404 for what the path names by {group} and {name}.
Refusal resource_not_found(const Call& call, const std::string& type);

/// The route's {name} with the value that goes by it. Throws Refusal (404 ResourceNotFound).
template <typename Resource>
typename Named<Resource>::value_type& resource_of(Named<Resource>& resources, const Call& call,
                                                  const std::string& type) {
  const auto found = resources.find(call.path.at("name"));
  if (found == resources.end()) throw resource_not_found(call, type);
  return *found;
}

/// The pattern of a group's resources of one type; "/{name}" and more may follow.
inline std::string group_path(const std::string& type) {
  return "/subscriptions/{subscriptionId}/resourcegroups/{group}/providers/" + type;
}

}  // namespace sim
