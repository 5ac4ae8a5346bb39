// Looks for the secrets of a simulated Azure Stack where none may be.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/simulator.h"
#include "sim/world.h"

namespace host_test {

/// A test failure for each secret in the text: those of the world, as they are and as they travel, and the tokens of
/// the requests sent.
inline void expect_no_secret(const std::string& text, const sim::World& world,
                             const std::vector<sim::RecordedRequest>& sent) {
  std::vector<std::string> secrets{world.aad_clients.front().client_secret, world.adfs_users.front().password,
                                   "demo%20%26%20password", "demo%2Bclient", "demo+client"};
  for (const auto& request : sent) {
    const auto line = sim::find_header(request.headers, "Authorization");
    if (line) secrets.push_back(line->substr(line->find(' ') + 1));
  }
  for (const std::string& secret : secrets) EXPECT_EQ(text.find(secret), std::string::npos) << secret;
}

}  // namespace host_test
