// Disks and snapshots of the demonstration world, and one disk more, as a client handles them.
#pragma once

#include <set>
#include <string>
#include <utility>

#include "simulator_fixture.h"

namespace sim_test {

inline sim::World world_with_spare_disk() {
  sim::World world = sim::demo_world();
  world.subscriptions[0].resource_groups["web-rg"].disks["spare"] = {.location = "local", .size_gb = 1};
  return world;
}

class DiskFixture : public SimulatorTest {
 protected:
  explicit DiskFixture(sim::Options options) : SimulatorTest(std::move(options)) {}

  static constexpr const char* version = "?api-version=2017-03-30";
  const std::string token = bearer();
  const std::string group = "/subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23/resourcegroups/WEB-rg";
  const std::string compute = group + "/providers/Microsoft.Compute/";

  Answer send(const std::string& method, const std::string& path, const std::string& body = "") {
    return client.send(method, management(path), {token, "Content-Type: application/json"}, body);
  }

  /// A request for a snapshot of a disk of the group.
  std::string snapshot_body(const std::string& disk) const {
    return R"({"location":"local","tags":{},"sku":{"name":"Premium_LRS"},"properties":{"creationData":)"
           R"({"createOption":"copy","sourceresourceid":")" +
           compute + "disks/" + disk + "\"}}}";
  }

  /// The value of a header of the answer.
  static std::string header(const Answer& answer, const std::string& name) {
    const std::size_t at = answer.head.find("\n" + name + ": ");
    if (at == std::string::npos) return "";
    const std::size_t value = at + name.size() + 3;
    return answer.head.substr(value, answer.head.find('\r', value) - value);
  }

  /// Follows an accepted request to its end and returns the last answer's body.
  nlohmann::json followed(const Answer& accepted) {
    EXPECT_EQ(accepted.status, 202) << accepted.body;
    for (int poll = 0; poll < 10 && accepted.status == 202; ++poll) {
      auto body = nlohmann::json::parse(client.get(header(accepted, "Azure-AsyncOperation"), {token}).body);
      if (body.at("status") != "InProgress") return body;
    }
    return {{"status", "none"}};
  }

  std::string status_of(const Answer& accepted) { return followed(accepted).at("status"); }

  void make_snapshot(const std::string& name, const std::string& disk) {
    EXPECT_EQ(status_of(send("PUT", compute + "snapshots/" + name + version, snapshot_body(disk))), "Succeeded");
  }

  Answer act(const std::string& snapshot, const std::string& action) {
    return send("POST", compute + "snapshots/" + snapshot + "/" + action + version,
                action == "beginGetAccess" ? R"({"access": "Read", "durationInSeconds": 31536000})" : "");
  }

  /// The address that the export of a snapshot gives.
  std::string exported(const std::string& snapshot) {
    const auto body = followed(act(snapshot, "beginGetAccess"));
    return body.at("properties").at("output").at("accessSAS").get<std::string>();
  }
};

}  // namespace sim_test
