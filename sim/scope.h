// What the path of a request names: its subscription, its resource group and the resource in it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

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

/// A resource that an id names.
template <typename Resource>
struct Located {
  Reference place;  // names as created
  Resource* resource;
};

/// None when the id is of another type or subscription, or nothing goes by it.
template <typename Resource>
std::optional<Located<Resource>> located(Subscription& subscription, std::string_view id, const std::string& type,
                                         Named<Resource> ResourceGroup::*kind) {
  const std::optional<ResourceId> parts = parse_resource_id(id);
  const bool may_be =
      parts && equal_ignoring_case(parts->type, type) && equal_ignoring_case(parts->subscription_id, subscription.id);
  if (!may_be) return std::nullopt;
  const auto group = subscription.resource_groups.find(parts->group);
  if (group == subscription.resource_groups.end()) return std::nullopt;
  auto& resources = group->second.*kind;
  const auto found = resources.find(parts->name);
  if (found == resources.end()) return std::nullopt;
  return Located<Resource>{{group->first, found->first}, &found->second};
}

/// The 400 for an id in a body that leads to nothing.
Refusal reference_not_found(const std::string& id, const std::string& referring_id);

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
