#include "sim/subscription_routes.h"

#include <string>

#include "sim/list_page.h"
#include "sim/scope.h"

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

Json resource_group_json(const Subscription& subscription, const Named<ResourceGroup>::value_type& group) {
  return {{"id", "/subscriptions/" + subscription.id + "/resourceGroups/" + group.first},
          {"name", group.first},
          {"location", group.second.location},
          {"properties", {{"provisioningState", "Succeeded"}}}};
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
              .answer =
                  [&cloud](const Call& call) {
                    return json_response(200, list_page(cloud, call, cloud.world.subscriptions,
                                                        LinkForm::resource_manager, subscription_json));
                  },
              .api_versions = {"2015-11-01", "2016-06-01", "2018-05-01"}});
  routes.add(
      {.service = Service::management,
       .method = "GET",
       .path = "/subscriptions/{subscriptionId}",
       .answer =
           [&cloud](const Call& call) { return json_response(200, subscription_json(subscription_of(cloud, call))); },
       .api_versions = {"2015-11-01", "2016-06-01", "2018-05-01"}});
  routes.add({.service = Service::management,
              .method = "GET",
              .path = "/subscriptions/{subscriptionId}/resourcegroups",
              .answer =
                  [&cloud](const Call& call) {
                    const Subscription& subscription = subscription_of(cloud, call);
                    return json_response(
                        200, list_page(cloud, call, subscription.resource_groups, LinkForm::resource_manager,
                                       [&](const auto& group) { return resource_group_json(subscription, group); }));
                  },
              .api_versions = {"2016-02-01", "2016-09-01", "2018-05-01", "2018-09-01"}});
}

}  // namespace sim
