#include "sim/storage_routes.h"

#include "sim/list_page.h"
#include "sim/provider_routes.h"
#include "sim/resource_json.h"
#include "sim/scope.h"

namespace sim {
namespace {

using NamedAccount = Named<StorageAccount>::value_type;

/// No file service: an Azure Stack has none. Only the blob server is there to be asked.
Json account_json(const Cloud& cloud, const NamedAccount& named) {
  const auto& [name, account] = named;
  const std::string other_services = "." + account.endpoint_suffix + "/";
  return {{"id", storage_account_id(account.subscription_id, account.group, name)},
          {"kind", "Storage"},
          {"location", account.location},
          {"name", name},
          {"properties",
           {{"creationTime", utc_text(world_creation_time, "%Y-%m-%dT%H:%M:%S.0000000Z")},
            {"primaryEndpoints",
             {{"blob", blob_endpoint(cloud, name)},
              {"queue", "https://" + name + ".queue" + other_services},
              {"table", "https://" + name + ".table" + other_services}}},
            {"primaryLocation", account.location},
            {"provisioningState", "Succeeded"},
            {"statusOfPrimary", "Available"},
            {"supportsHttpsTrafficOnly", false}}},
          {"sku", {{"name", "Standard_LRS"}, {"tier", "Standard"}}},
          {"tags", Json::object()},
          {"type", resource_type::storage_account}};
}

Response account_list(Cloud& cloud, const Call& call) {
  const Subscription& subscription = subscription_of(cloud, call);
  std::vector<const NamedAccount*> accounts;
  for (const NamedAccount& account : cloud.world.storage_accounts) {
    if (account.second.subscription_id == subscription.id) accounts.push_back(&account);
  }
  return json_response(200, list_page(cloud, call, accounts, LinkForm::provider,
                                      [&](const NamedAccount* account) { return account_json(cloud, *account); }));
}

Response key_list(Cloud& cloud, const Call& call) {
  const GroupScope scope = group_of(cloud, call);
  const auto& [name, account] = resource_of(cloud.world.storage_accounts, call, resource_type::storage_account);
  if (account.subscription_id != scope.subscription.id || !equal_ignoring_case(account.group, scope.name)) {
    throw resource_not_found(call, resource_type::storage_account);
  }
  Json keys = Json::array();
  for (const std::string& key : account.keys) {
    keys.push_back({{"keyName", "key" + std::to_string(keys.size() + 1)}, {"permissions", "Full"}, {"value", key}});
  }
  return json_response(200, {{"keys", std::move(keys)}});
}

}  // namespace

void add_storage_routes(RouteTable& routes, Cloud& cloud) {
  ProviderRoutes provider(routes, cloud, resource_type::storage_account, api_versions::storage);
  provider.add("GET", "/subscriptions/{subscriptionId}/providers/" + resource_type::storage_account, account_list);
  provider.add("POST", group_path(resource_type::storage_account) + "/{name}/listkeys", key_list);
}

}  // namespace sim
