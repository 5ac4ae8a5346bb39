// Lists of disks and snapshots.
#pragma once

#include <utility>
#include <vector>

#include "sim/list_page.h"
#include "sim/operation_routes.h"
#include "sim/scope.h"

namespace sim {

/// A page of what the path's group holds of the kind, or without {group} its whole subscription; `to_json` gets the
/// scope and the resource with its name. What is still being made is left out.
template <typename Resource, typename ToJson>
Response disk_list(Cloud& cloud, const Call& call, Named<Resource> ResourceGroup::*kind, ToJson to_json) {
  std::vector<std::pair<GroupScope, const typename Named<Resource>::value_type*>> found;
  const auto collect = [&](const GroupScope& scope) {
    for (const auto& named : scope.group.*kind) {
      if (!in_progress(cloud, named.second.operation)) found.emplace_back(scope, &named);
    }
  };
  if (call.path.count("group") != 0) {
    collect(group_of(cloud, call));
  } else {
    Subscription& subscription = subscription_of(cloud, call);
    for (auto& [name, group] : subscription.resource_groups) collect({subscription, name, group});
  }
  return printed_json_response(200, list_page(cloud, call, found, LinkForm::provider, [&to_json](const auto& element) {
                                 return to_json(element.first, *element.second);
                               }));
}

}  // namespace sim
