// Snapshots and disks as Resource Manager shows them; their data are disk_data_test.cpp's.
#include <gmock/gmock.h>

#include "disk_fixture.h"

namespace sim_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

sim::Options in_pages_of_two() {
  sim::Options options;
  options.world = world_with_spare_disk();
  options.world.page_size = 2;
  options.world.subscriptions[0].resource_groups["Data_RG.1"].disks["far"] = {.location = "elsewhere", .size_gb = 1};
  return options;
}

class SnapshotTest : public DiskFixture {
 protected:
  SnapshotTest() : DiskFixture(in_pages_of_two()) {}
};

TEST_F(SnapshotTest, IsThereOnceItsOperationHasEnded) {
  const std::string path = compute + "snapshots/one" + version;
  const Answer accepted = send("PUT", path, snapshot_body("WEB-01-os"));
  ASSERT_EQ(accepted.status, 202);
  const auto body = nlohmann::json::parse(accepted.body);
  EXPECT_FALSE(body.contains("id") || body.contains("name"));
  EXPECT_EQ(body.at("properties").at("provisioningState"), "Updating");

  const std::string operation = header(accepted, "Azure-AsyncOperation");
  for (const char* status : {"InProgress", "InProgress", "Succeeded"}) {
    EXPECT_EQ(client.get(management(path), {token}).error(), "ResourceNotFound");
    EXPECT_EQ(send("DELETE", path).error(), "OperationNotAllowed");
    const auto poll = nlohmann::json::parse(client.get(operation, {token}).body);
    EXPECT_EQ(poll.at("status"), status);
    EXPECT_EQ(poll.contains("properties"), poll.at("status") == "Succeeded");
  }
  const auto snapshot = nlohmann::json::parse(send("GET", path).body);
  EXPECT_EQ(snapshot.at("id"),
            "/subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23/resourceGroups/WEB-RG/providers/Microsoft.Compute/"
            "Snapshots/one");
  EXPECT_EQ(snapshot.at("properties").at("creationData").at("sourceResourceId"), compute + "disks/WEB-01-os");
  EXPECT_EQ(snapshot.at("properties").at("osType"), "Linux");

  // Asked for once more it is the same; the other address gives the result by itself; and time ends an operation too.
  const Answer again = send("PUT", path, snapshot_body("web-01-OS"));
  simulator.advance_time(60);
  const Answer result = client.get(header(again, "Location"), {token});
  EXPECT_EQ(result.status, 200);
  EXPECT_EQ(nlohmann::json::parse(result.body), snapshot);
  EXPECT_EQ(client.get(header(again, "Location")).status, 401);
}

TEST_F(SnapshotTest, IsInUseUntilItsExportEndsOrRunsOut) {
  make_snapshot("one", "spare");
  const std::string first = exported("one");
  EXPECT_EQ(act("one", "beginGetAccess").error(), "AccessAlreadyGranted");
  EXPECT_EQ(status_of(act("one", "endGetAccess")), "Succeeded");
  EXPECT_NE(exported("one"), first);
  const std::string path = management(compute + "snapshots/one" + version);
  EXPECT_EQ(client.send("DELETE", path, {token}).status, 409);
  simulator.advance_time(31'536'000);  // the access has run out, and the token with it
  EXPECT_EQ(client.send("DELETE", path, {bearer()}).status, 202);
}

TEST_F(SnapshotTest, ListsComeInPages) {
  const auto listed = [this](const std::string& first, const char* token_name = "&$skiptoken=") {
    std::set<std::string> names;
    std::size_t pages = 0;
    for (std::string link = management(first); !link.empty() && pages < 9; ++pages) {
      const auto page = nlohmann::json::parse(client.get(link, {token}).body);
      for (const auto& element : page.at("value")) names.insert(element.at("name"));
      link = page.value("nextLink", "");
      EXPECT_THAT(link, testing::AnyOf("", HasSubstr(token_name)));
    }
    EXPECT_EQ(pages, (names.size() + 1) / 2);
    return names;
  };
  for (const char* name : {"c", "a", "b"}) make_snapshot(name, "spare");
  send("PUT", compute + "snapshots/unfinished" + version, snapshot_body("spare"));
  const std::string subscription = group.substr(0, group.find("/resourcegroups"));
  EXPECT_THAT(listed(subscription + "/providers/Microsoft.Compute/snapshots" + version), ElementsAre("a", "b", "c"));
  EXPECT_THAT(listed(compute + "snapshots" + version), ElementsAre("a", "b", "c"));
  EXPECT_THAT(listed(subscription + "/resources?$filter=ResourceType%20eq%20'Microsoft.Compute/snapshots'"
                                    "&api-version=2018-09-01",
                     "&%24skiptoken="),
              ElementsAre("a", "b", "c"));
  EXPECT_THAT(listed(compute + "disks" + version), ElementsAre("spare", "web-01-data", "web-01-os"));
  EXPECT_EQ(status_of(send("DELETE", compute + "disks/spare" + version)), "Succeeded");
  EXPECT_THAT(listed(subscription + "/providers/Microsoft.Compute/disks" + version),
              ElementsAre("far", "web-01-data", "web-01-os"));
}

}  // namespace
}  // namespace sim_test
