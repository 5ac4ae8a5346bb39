#include "sim/resource_id.h"

#include <algorithm>
#include <vector>

namespace sim {

std::string resource_id(const std::string& subscription_id, const std::string& group, const std::string& type,
                        const std::string& name) {
  return "/subscriptions/" + subscription_id + "/resourceGroups/" + group + "/providers/" + type + "/" + name;
}

std::string storage_account_id(const std::string& subscription_id, const std::string& group, const std::string& name) {
  return "/subscriptions/" + subscription_id + "/resourcegroups/" + lower_case(group) +
         "/providers/Microsoft.Storage/storageaccounts/" + lower_case(name);
}

std::optional<ResourceId> parse_resource_id(std::string_view id) {
  if (id.starts_with('/')) id.remove_prefix(1);
  std::vector<std::string> parts;
  for (bool more = true; more;) {
    const std::size_t slash = std::min(id.find('/'), id.size());
    parts.emplace_back(id.substr(0, slash));
    more = slash < id.size();
    id.remove_prefix(more ? slash + 1 : slash);
  }
  const bool good = parts.size() == 8 && equal_ignoring_case(parts[0], "subscriptions") &&
                    equal_ignoring_case(parts[2], "resourceGroups") && equal_ignoring_case(parts[4], "providers");
  if (!good) return std::nullopt;
  return ResourceId{parts[1], parts[3], parts[5] + "/" + parts[6], parts[7]};
}

}  // namespace sim
