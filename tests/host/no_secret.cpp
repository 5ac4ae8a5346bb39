#include "tests/host/no_secret.h"

#include <gtest/gtest.h>

namespace host_test {

void expect_no_secret(const std::string& text, const sim::World& world, const std::vector<sim::RecordedRequest>& sent) {
  std::vector<std::string> secrets{world.aad_clients.front().client_secret, world.adfs_users.front().password,
                                   "demo%20%26%20password", "demo%2Bclient", "demo+client"};
  for (const auto& request : sent) {
    const auto line = sim::find_header(request.headers, "Authorization");
    if (line) secrets.push_back(line->substr(line->find(' ') + 1));
  }
  for (const std::string& secret : secrets) EXPECT_EQ(text.find(secret), std::string::npos) << secret;
}

}  // namespace host_test
