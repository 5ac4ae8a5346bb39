// A running simulator and a client that trusts it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "curl_client.h"

namespace sim_test {

class SimulatorTest : public testing::Test {
 protected:
  /// Of the demonstration world, or of the options' own.
  explicit SimulatorTest(sim::Options options = {}) : world(options.world), simulator(std::move(options)) {}

  std::string management(const std::string& path) const { return "https://" + simulator.management_host() + path; }

  /// The bearer header of a fresh token from AAD; the world's first client has the demonstration's secret.
  std::string bearer() {
    const Answer answer =
        client.send("POST", "https://" + simulator.aad_host() + "/" + world.tenant_id + "/oauth2/token", {},
                    "grant_type=client_credentials&client_id=" + world.aad_clients[0].client_id +
                        "&client_secret=demo%2Bclient/secret%3D42&resource=" + world.audience);
    return "Authorization: Bearer " + nlohmann::json::parse(answer.body).at("access_token").get<std::string>();
  }

  const sim::World world;
  sim::Simulator simulator;
  CurlClient client{simulator.ca_file().string()};
};

inline const std::string subscriptions = "/subscriptions?api-version=2018-05-01";

}  // namespace sim_test
