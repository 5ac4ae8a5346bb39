#include "sim/subscription_routes.h"

#include <algorithm>
#include <string>

#include "sim/json_response.h"

namespace sim {
namespace {

Json subscription_json(const Subscription& subscription) {
  return {{"offerId", "/delegatedProviders/default/offers/contosooffer"},
          {"id", "/subscriptions/" + subscription.id},
          {"subscriptionId", subscription.id},
          {"tenantId", subscription.tenant_id},
          {"displayName", subscription.display_name},
          {"state", "Enabled"},
          {"subscriptionPolicies", {{"locationPlacementId", "AzureStack"}}}};
}

Json resource_group_json(const Subscription& subscription, const ResourceGroup& group) {
  return {{"id", "/subscriptions/" + subscription.id + "/resourceGroups/" + group.name},
          {"name", group.name},
          {"location", group.location},
          {"properties", {{"provisioningState", "Succeeded"}}}};
}

/// {"value":[...]} with one element for each item.
template <typename Items, typename ToJson>
Response list_response(const Items& items, ToJson to_json) {
  Json elements = Json::array();
  for (const auto& item : items) elements.push_back(to_json(item));
  return json_response(200, {{"value", std::move(elements)}});
}

/// Answers from the subscription that the path names, or that there is none.
template <typename Answer>
Response with_subscription(const Cloud& cloud, const Call& call, Answer answer) {
  const std::string& id = call.path.at("subscriptionId");
  const auto& known = cloud.world.subscriptions;
  const auto found = std::find_if(known.begin(), known.end(), [&id](const Subscription& subscription) {
    return equal_ignoring_case(subscription.id, id);
  });
  if (found != known.end()) return answer(*found);
  return error_response(404, "SubscriptionNotFound", "The subscription '" + id + "' could not be found.");
}

/// What a client can learn before it has a token. The login host is that of the provider the world has users of.
Response metadata_endpoints(const Cloud& cloud) {
  const Endpoints& hosts = cloud.endpoints;
  const std::string login = cloud.world.aad_clients.empty() ? hosts.adfs + "/adfs" : hosts.aad + "/";
  const std::string portal = "https://portal." + cloud.world.region + "." + cloud.world.domain;
  return json_response(
      200, {{"galleryEndpoint", portal + ":30015/"},
            {"graphEndpoint", "https://graph.windows.net/"},
            {"portalEndpoint", portal + "/"},
            {"authentication", {{"loginEndpoint", "https://" + login}, {"audiences", {cloud.world.audience}}}}});
}

}  // namespace

void add_subscription_routes(RouteTable& routes, Cloud& cloud) {
  routes.add({.service = Service::management,
              .method = "GET",
              .path = "/metadata/endpoints",
              .answer = [&cloud](const Call&) { return metadata_endpoints(cloud); },
              .api_versions = {"1.0", "2015-01-01", "2015-11-01"},
              .needs_token = false});
  routes.add({.service = Service::management,
              .method = "GET",
              .path = "/subscriptions",
              .answer = [&cloud](const Call&) { return list_response(cloud.world.subscriptions, subscription_json); },
              .api_versions = {"2015-11-01", "2016-06-01", "2018-05-01"}});
  routes.add({.service = Service::management,
              .method = "GET",
              .path = "/subscriptions/{subscriptionId}",
              .answer =
                  [&cloud](const Call& call) {
                    return with_subscription(cloud, call, [](const Subscription& subscription) {
                      return json_response(200, subscription_json(subscription));
                    });
                  },
              .api_versions = {"2015-11-01", "2016-06-01", "2018-05-01"}});
  routes.add({.service = Service::management,
              .method = "GET",
              .path = "/subscriptions/{subscriptionId}/resourcegroups",
              .answer =
                  [&cloud](const Call& call) {
                    return with_subscription(cloud, call, [](const Subscription& subscription) {
                      return list_response(subscription.resource_groups, [&subscription](const ResourceGroup& group) {
                        return resource_group_json(subscription, group);
                      });
                    });
                  },
              .api_versions = {"2016-02-01", "2016-09-01", "2018-05-01", "2018-09-01"}});
}

}  // namespace sim
