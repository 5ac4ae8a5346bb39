// The state that the routes answer from.
#pragma once

#include <cstdint>
#include <string>

#include "sim/clock.h"
#include "sim/token_store.h"
#include "sim/world.h"

namespace sim {

/// The hosts of the installation, each with the port: "management.local.azurestack.localhost:8443".
struct Endpoints {
  std::string management;
  std::string aad;
  std::string adfs;
};

Endpoints endpoints_of(const World& world, std::uint16_t port);

/// Everything a request can read or change. Routes are called one at a time, so that nothing in here needs a lock.
struct Cloud {
  World world;
  Endpoints endpoints;
  SimulatedClock clock;
  TokenStore tokens;
};

}  // namespace sim
