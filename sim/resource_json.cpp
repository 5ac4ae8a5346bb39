#include "sim/resource_json.h"

#include "sim/clock.h"
#include "sim/derived_text.h"

namespace sim {

Json tags_json(const Tags& tags) {
  Json json = Json::object();
  for (const auto& [name, value] : tags) json[name] = value;
  return json;
}

std::string time_text(std::int64_t seconds) { return utc_text(seconds, "%Y-%m-%dT%H:%M:%S.0000000+00:00"); }

std::string etag_of(const std::string& id) { return "W/\"" + guid_of("etag of " + id) + "\""; }

}  // namespace sim
