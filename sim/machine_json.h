// A machine as the compute provider describes it.
#pragma once

#include <string>

#include "sim/cloud.h"
#include "sim/json_response.h"

namespace sim {

enum class InstanceView { left_out, included };

/// The members in the order of the service's answers: "properties" first, "id" and "name" last.
Json machine_json(const Cloud& cloud, const std::string& subscription_id, const std::string& group,
                  const Named<Machine>::value_type& machine, InstanceView view);

}  // namespace sim
