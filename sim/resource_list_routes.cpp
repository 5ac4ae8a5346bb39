#include "sim/resource_list_routes.h"

#include "sim/list_page.h"
#include "sim/operation_routes.h"
#include "sim/resource_filter.h"
#include "sim/resource_json.h"
#include "sim/scope.h"

namespace sim {
namespace {

/// What Resource Manager itself knows of a resource; everything else is its provider's affair.
struct Entry {
  const std::string& type;
  const std::string& group;
  const std::string& name;
  const std::string& location;
  const Tags* tags;  // null without any
};

class ResourceList {
 public:
  ResourceList(const Cloud& cloud, const Subscription& subscription, const ResourceFilter& filter)
      : cloud_(cloud), filter_(filter) {
    for (const auto& [name, group] : subscription.resource_groups) {
      add(resource_type::machine, name, group.machines);
      add(resource_type::disk, name, group.disks);
      add(resource_type::snapshot, name, group.snapshots);
      add(resource_type::nic, name, group.nics);
      add(resource_type::security_group, name, group.security_groups);
      add(resource_type::public_address, name, group.public_addresses);
      add(resource_type::network, name, group.networks);
    }
    if (!filter.accepts(resource_type::storage_account)) return;
    for (const auto& [name, account] : cloud.world.storage_accounts) {
      if (account.subscription_id != subscription.id) continue;
      entries_.push_back({resource_type::storage_account, account.group, name, account.location, nullptr});
    }
  }

  const std::vector<Entry>& entries() const { return entries_; }

 private:
  template <typename Resource>
  void add(const std::string& type, const std::string& group, const Named<Resource>& resources) {
    if (!filter_.accepts(type)) return;
    for (const auto& [name, resource] : resources) {
      if (is_being_made(resource)) continue;
      entries_.push_back({type, group, name, resource.location, tags_of(resource)});
    }
  }

  template <typename Resource>
  static const Tags* tags_of(const Resource& resource) {
    if constexpr (requires { resource.tags; }) return resource.tags ? &*resource.tags : nullptr;
    return nullptr;
  }

  template <typename Resource>
  bool is_being_made(const Resource& resource) const {
    if constexpr (requires { resource.operation; }) return in_progress(cloud_, resource.operation);
    return false;
  }

  const Cloud& cloud_;
  const ResourceFilter& filter_;
  std::vector<Entry> entries_;
};

Json entry_json(const Subscription& subscription, const Entry& entry) {
  const bool account = entry.type == resource_type::storage_account;
  Json json = {{"id", account ? storage_account_id(subscription.id, entry.group, entry.name)
                              : resource_id(subscription.id, entry.group, entry.type, entry.name)},
               {"name", entry.name},
               {"type", entry.type},
               {"location", entry.location}};
  if (entry.tags != nullptr) json["tags"] = tags_json(*entry.tags);
  return json;
}

}  // namespace

void add_resource_list_routes(RouteTable& routes, Cloud& cloud) {
  routes.add({.service = Service::management,
              .method = "GET",
              .path = "/subscriptions/{subscriptionId}/resources",
              .answer =
                  [&cloud](const Call& call) {
                    const Subscription& subscription = subscription_of(cloud, call);
                    const ResourceFilter filter(field(call.query, "$filter"));
                    const ResourceList list(cloud, subscription, filter);
                    return json_response(
                        200, list_page(cloud, call, list.entries(), LinkForm::resource_manager,
                                       [&](const Entry& entry) { return entry_json(subscription, entry); }));
                  },
              .api_versions = {"2016-02-01", "2016-09-01", "2018-05-01", "2018-09-01"}});
}

}  // namespace sim
