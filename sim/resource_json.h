// Parts that the descriptions of several kinds of resources share.
#pragma once

#include <cstdint>
#include <string>

#include "sim/json_response.h"
#include "sim/resources.h"

namespace sim {

Json tags_json(const Tags& tags);

/// "2018-03-19T01:21:26.0000000+00:00"
std::string time_text(std::int64_t seconds);

/// The tag of one version of a resource: W/"..."
std::string etag_of(const std::string& id);

}  // namespace sim
