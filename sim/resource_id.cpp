#include "sim/resource_id.h"

namespace sim {

std::string resource_id(const std::string& subscription_id, const std::string& group, const std::string& type,
                        const std::string& name) {
  return "/subscriptions/" + subscription_id + "/resourceGroups/" + group + "/providers/" + type + "/" + name;
}

}  // namespace sim
