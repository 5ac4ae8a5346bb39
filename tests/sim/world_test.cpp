#include "sim/world.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "sim/client_files.h"
#include "sim/disk_content.h"

namespace sim_test {
namespace {

std::string error_of(const std::string& json) {
  try {
    sim::parse_world(json, "w.json");
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "none";
}

TEST(World, ErrorsNameTheMember) {
  const auto with = [](const std::string& more) {
    return R"({"region":"r","domain":"d.localhost","tenantId":"t","audience":"a")" + more + "}";
  };
  EXPECT_EQ(error_of(with("")), "none");
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"({"region":"a/b"})", "w.json: region: must be made of small letters, digits, '-' and '.'"},
      {"[]", "w.json: the file: an object is needed"},
      {with(R"(,"tokenLifetimeSeconds":0)"), "w.json: tokenLifetimeSeconds: must be a whole number above 0"},
      {with(R"(,"aadClients":{})"), "w.json: aadClients: must be an array"},
      {with(R"(,"adfsUsers":[7])"), "w.json: adfsUsers[0]: an object is needed"},
      {with(R"(,"subscriptions":[{"id":"1","displayName":"x"},{"id":"2"}])"),
       "w.json: subscriptions[1].displayName: is missing"},
      {with(R"(,"subscriptions":[{"id":"a","displayName":"x"},{"id":"A","displayName":"y"}])"),
       "w.json: subscriptions[1].id: 'A' is taken"},
      {with(R"(,"subscription":[])"), "w.json: subscription: is not known"},
  };
  for (const auto& [json, message] : cases) EXPECT_EQ(error_of(json), message);
  // Resources are wrapped in the group "g", machines with one sound disk.
  const auto with_group = [&with](const std::string& resources) {
    return with(R"(,"subscriptions":[{"id":"1","displayName":"x","resourceGroups":[{"name":"g",)"
                R"("virtualNetworks":[{"name":"n","subnets":[{"name":"s"}]}],)" +
                resources + "}]}]");
  };
  const auto with_machine = [&with_group](const std::string& members) {
    return with_group(R"("machines":[{"name":"m","size":"z","osDisk":{"name":"o","sizeGB":1},)" + members + "}]");
  };
  EXPECT_EQ(error_of(with_machine(R"("networkInterfaces":[{"name":"i","virtualNetwork":"G/N"}])")), "none");
  const std::string group = "w.json: subscriptions[0].resourceGroups[0].";
  const std::vector<std::pair<std::string, std::string>> resource_cases = {
      {with_group(R"("machines":[{"name":"m","size":"z"}])"), "machines[0].osDisk: is missing"},
      {with_machine(R"("powerstate":"running")"), "machines[0].powerstate: is not known"},
      {with_machine(R"("osType":"linux")"), "machines[0].osType: must be one of Linux, Windows"},
      {with_machine(R"("tags":{"a":1})"), "machines[0].tags.a: must be a text"},
      {with_machine(R"("dataDisks":[{"name":"O","sizeGB":1}])"), "machines[0].dataDisks[0].name: 'O' is taken"},
      {with_machine(R"("dataDisks":[{"name":"d","sizeGB":1,"lun":-1}])"),
       "machines[0].dataDisks[0].lun: must be a whole number from 0 on"},
      {with_machine(R"("dataDisks":[{"name":"d","sizeGB":1,"vhd":{"account":"a"}}])"),
       "machines[0].dataDisks[0].vhd.account: names no storage account"},
      {with_machine(R"("dataDisks":[{"name":"d","sizeGB":1,"content":[{"offsetMB":1000,"sizeMB":25}]}])"),
       "machines[0].dataDisks[0].content[0].sizeMB: reaches beyond the disk's end"},
      {with_machine(R"("dataDisks":[{"name":"d","sizeGB":1,"content":[{"sizeMB":2},{"offsetMB":1,"sizeMB":1}]}])"),
       "machines[0].dataDisks[0].content[1].offsetMB: lies before the end of the range before it"},
      {with_group(R"("disks":[{"name":"d","sizeGB":1,"dataMB":1,"fragments":257}])"),
       "disks[0].fragments: leaves less than 4 KiB for each"},
      {with_machine(R"("dataDisks":[{"name":"d","sizeGB":1,"resourceGroup":"h"}])"),
       "machines[0].dataDisks[0].resourceGroup: names no group"},
      {with_machine(R"("networkInterfaces":[{"name":"i"}])"),
       "machines[0].networkInterfaces[0].virtualNetwork: is missing"},
      {with_machine(R"("networkInterfaces":[{"name":"i","virtualNetwork":"n","subnet":"t"}])"),
       "machines[0].networkInterfaces[0].subnet: names none of the network"},
  };
  for (const auto& [json, message] : resource_cases) EXPECT_EQ(error_of(json), group + message);
  EXPECT_THAT(error_of("{"), testing::StartsWith("w.json: "));
  EXPECT_THROW(sim::load_world("/does/not/exist.json"), std::runtime_error);
}

TEST(DiskContent, IsSpreadFromStartToEnd) {
  const auto content_of = [](const std::string& member) {
    const sim::World world = sim::parse_world(
        R"({"region":"r","domain":"d.localhost","tenantId":"t","audience":"a","subscriptions":[{"id":"1",)"
        R"("displayName":"x","resourceGroups":[{"name":"g","disks":[{"name":"d","sizeGB":1)" +
            member + "}]}]}]}",
        "w.json");
    return sim::data_ranges(world.subscriptions[0].resource_groups.at("g").disks.at("d").content, 1 << 30);
  };
  for (const char* member : {"", R"(,"dataMB":10,"fragments":7)", R"(,"dataMB":1024,"fragments":1000)"}) {
    std::int64_t end = 0;
    for (const sim::ByteRange& range : content_of(member)) {
      EXPECT_GE(range.offset, end) << member;
      EXPECT_EQ(range.offset % 4096, 0) << member;
      EXPECT_EQ(range.size % 4096, 0) << member;
      end = range.offset + range.size;
    }
    EXPECT_LE(end, 1 << 30) << member;
    EXPECT_GT(end, (1 << 30) - (2 << 20)) << member;
  }
  EXPECT_EQ(content_of(R"(,"dataMB":10,"fragments":7)").size(), 7U);
  EXPECT_TRUE(content_of(R"(,"content":[])").empty());
}

TEST(ClientFiles, PointAClientAtTheSimulator) {
  const std::filesystem::path directory = std::filesystem::path(testing::TempDir()) / "sim-client-files";
  std::filesystem::remove_all(directory);
  const sim::Simulator simulator;
  sim::write_client_files(directory, simulator, sim::demo_world());
  const auto contents = [&directory](const char* name) {
    struct stat status {};
    EXPECT_EQ(stat((directory / name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U) << name;
    std::ostringstream text;
    text << std::ifstream(directory / name).rdbuf();
    return text.str();
  };
  EXPECT_THAT(contents("azurestack.conf"), testing::StartsWith("CA_FILE_PATH=" + simulator.ca_file().string() +
                                                               "\nAAD_LOGIN_ENDPOINT=" + simulator.aad_host() + "\n"));
  EXPECT_THAT(contents("credentials"), testing::HasSubstr("\nClientSecret=demo+client/secret=42\n"));
  EXPECT_THAT(contents("credentials-adfs"), testing::StartsWith("IdentityProvider=ADFS\n"));
  EXPECT_EQ(contents("adfs-password"), "backup@azurestack.localhost:demo & password 100%\n");
}

}  // namespace
}  // namespace sim_test
