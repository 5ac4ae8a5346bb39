#include "sim/scope.h"

#include <algorithm>

namespace sim {

Subscription& subscription_of(Cloud& cloud, const Call& call) {
  const std::string& id = call.path.at("subscriptionId");
  auto& known = cloud.world.subscriptions;
  const auto found = std::find_if(known.begin(), known.end(), [&id](const Subscription& subscription) {
    return equal_ignoring_case(subscription.id, id);
  });
  if (found != known.end()) return *found;
  throw Refusal(404, "SubscriptionNotFound", "The subscription '" + id + "' could not be found.");
}

GroupScope group_of(Cloud& cloud, const Call& call) {
  Subscription& subscription = subscription_of(cloud, call);
  const std::string& name = call.path.at("group");
  const auto found = subscription.resource_groups.find(name);
  if (found != subscription.resource_groups.end()) return {subscription, found->first, found->second};
  throw Refusal(404, "ResourceGroupNotFound", "Resource group '" + name + "' could not be found.");
}

Refusal reference_not_found(const std::string& id, const std::string& referring_id) {
  return {
      400, "InvalidResourceReference",
      "Resource " + id + " referenced by resource " + referring_id +
          " was not found. Please make sure that the referenced resource exists, and that both resources are in the "
          "same region."};
}

Refusal resource_not_found(const Call& call, const std::string& type) {
  return {404, "ResourceNotFound",
          "The Resource '" + type + "/" + call.path.at("name") + "' under resource group '" + call.path.at("group") +
              "' was not found."};
}

}  // namespace sim
