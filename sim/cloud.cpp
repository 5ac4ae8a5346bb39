#include "sim/cloud.h"

namespace sim {

Endpoints endpoints_of(const World& world, std::uint16_t port) {
  const std::string suffix = "." + world.region + "." + world.domain + ":" + std::to_string(port);
  return {"management" + suffix, "login" + suffix, "adfs" + suffix};
}

}  // namespace sim
