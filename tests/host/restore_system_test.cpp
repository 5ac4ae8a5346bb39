// azsbackup restore as a whole: what backup stored of a simulated Azure Stack's machines is made anew, and every disk
// is compared with the one that was backed up.
#include <gmock/gmock.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>

#include "tests/host/cloud_test.h"
#include "tests/host/no_secret.h"
#include "tests/sim/curl_client.h"

namespace {

using host_test::Ends;
using host_test::Outcome;
using nlohmann::json;

using Texts = std::vector<std::string>;

const std::string subscription = "4caa8431-21b4-4e0b-bca0-1542a5f11e23";
const std::string web = "/" + subscription + "/web-rg/web-01";
const std::string group_path = "/" + subscription + "/web-rg/";
const std::string db = "/" + subscription + "/Data_RG.1/DB-01";

// Operations have ended when they are asked for the first time: between two polls the plug-in waits for seconds.
sim::World quick_world() {
  sim::World world = sim::demo_world();
  world.operation_polls = 0;
  // The other subscription has networks of the same names, so that a machine can come back there as it was.
  const auto& web_rg = world.subscriptions[0].resource_groups.at("web-rg");
  auto& lab_rg = world.subscriptions[1].resource_groups.at("lab-rg");
  lab_rg.networks.insert(web_rg.networks.begin(), web_rg.networks.end());
  lab_rg.security_groups.insert(web_rg.security_groups.begin(), web_rg.security_groups.end());
  return world;
}

class RestoreSystem : public host_test::CloudTest {
 protected:
  RestoreSystem() : CloudTest(quick_world()) {
    folder_.write_file("client/azurestack.conf",
                       test_support::read_file(config_) + "STAGING_STORAGE_ACCOUNTS=demodiag1\n");
    EXPECT_THAT(run({"backup", "/" + subscription}), Ends(0));
  }

  std::optional<sim::Machine> machine(const std::string& path) const {
    const std::size_t name = path.rfind('/') + 1;
    const std::size_t group = path.find('/', 1) + 1;
    const sim::World world = cloud_.world();
    const auto& machines = world.subscriptions[0].resource_groups.at(path.substr(group, name - group - 1)).machines;
    const auto found = machines.find(path.substr(name));
    return found == machines.end() ? std::nullopt : std::optional(found->second);
  }
  /// The SHA-256 of what each disk of the machine holds, the OS disk first.
  Texts contents(const std::string& path) const {
    const auto found = machine(path);
    if (!found) return {"no machine " + path};
    Texts digests{digest(found->os_disk)};
    for (const sim::MachineDisk& disk : found->data_disks) digests.push_back(digest(disk));
    return digests;
  }
  std::string digest(const sim::MachineDisk& disk, const std::string& of = subscription) const {
    const sim::World& world = options_.world;
    const std::string place = disk.vhd ? "https://" + disk.vhd->account + ".blob." + world.region + "." + world.domain +
                                             "/" + disk.vhd->container + "/" + disk.vhd->name
                                       : "/subscriptions/" + of + "/resourceGroups/" + disk.managed_disk->group +
                                             "/providers/Microsoft.Compute/disks/" + disk.managed_disk->name;
    return cloud_.disk_digest(place).sha256;
  }
  /// The ids of all that stands in the cloud.
  Texts standing() const {
    Texts ids;
    for (const json& kind : json::parse(cloud_.state())) {
      for (const json& resource : kind) ids.push_back(resource.value("id", resource.value("snapshot", "")));
    }
    return ids;
  }

  void delete_machine(const std::string& path) {
    sim_test::CurlClient client(cloud_.ca_file().string());
    const std::string cloud = "https://" + cloud_.management_host();
    const auto login =
        client.send("POST", "https://" + cloud_.aad_host() + "/" + options_.world.tenant_id + "/oauth2/token", {},
                    "grant_type=client_credentials&client_id=" + options_.world.aad_clients[0].client_id +
                        "&client_secret=demo%2Bclient/secret%3D42&resource=" + options_.world.audience);
    const std::string token = json::parse(login.body).at("access_token");
    const std::size_t name = path.rfind('/');
    const std::size_t group = path.find('/', 1);
    const std::string id = "/subscriptions/" + subscription + "/resourceGroups" + path.substr(group, name - group) +
                           "/providers/Microsoft.Compute/virtualMachines" + path.substr(name);
    const auto answer =
        client.send("DELETE", cloud + id + "?api-version=2017-12-01", {"Authorization: Bearer " + token});
    ASSERT_LT(answer.status, 300) << answer.body;
  }
};

TEST_F(RestoreSystem, BringsDeletedMachinesBackByteForByte) {
  const Texts web_disks = contents(web);
  const Texts db_disks = contents(db);
  delete_machine(web);
  delete_machine(db);

  const Texts before = standing();
  const Outcome plan = run({"restore", "latest", "--dry-run", "--json"});
  ASSERT_EQ(plan.exit_code, 0) << plan.output << plan.error << log();
  EXPECT_EQ(standing(), before);

  cloud_.clear_requests();
  const Outcome outcome = run({"restore", "latest", "--json"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
  EXPECT_EQ(contents(web), web_disks);
  EXPECT_EQ(contents(db), db_disks);
  EXPECT_EQ(machine(web)->size, "Standard_DS1_v2");
  EXPECT_EQ(machine(db)->power_state, "deallocated");
  host_test::expect_no_secret(outcome.output + outcome.error + log(), options_.world, cloud_.requests());

  // What was planned is what happened, but for the second in the names.
  const json planned = json::parse(plan.output);
  const json done = json::parse(outcome.output);
  for (std::size_t at = 0; at < 2; ++at) {
    for (const char* fact : {"path", "target", "size", "power_state", "virtual_network", "subnet"}) {
      EXPECT_EQ(planned["machines"][at][fact], done["machines"][at][fact]) << fact;
    }
    EXPECT_EQ(done["machines"][at]["details"], json::array()) << "nothing went wrong";
  }
  const std::string planned_name = planned["machines"][1]["disks"][0]["name"];
  const std::string name = done["machines"][1]["disks"][0]["name"];
  EXPECT_EQ(name.substr(0, name.rfind('-')), planned_name.substr(0, planned_name.rfind('-')));
  EXPECT_EQ(name.substr(name.rfind('/') + 1), machine(web)->os_disk.managed_disk->name);
  EXPECT_TRUE(machine(web)->os_disk.managed_disk->name.starts_with("web-01-os-RESTORE-"));

  EXPECT_THAT(run({"restore", "latest", db}), Ends(1, {"is there already"}));
}

TEST_F(RestoreSystem, BringsAMachineBackInAnotherSubscription) {
  const Texts disks = contents(web);
  const std::string other = options_.world.subscriptions[1].id;
  const Outcome outcome = run({"restore", "latest", web, "--to", other + "/lab-rg", "--set",
                               "StagingStorageAccount=labstaging1", "--set", "DiskRg=lab-rg"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error << log();
  const sim::World now = cloud_.world();
  const auto& machines = now.subscriptions[1].resource_groups.at("lab-rg").machines;
  ASSERT_EQ(machines.count("web-01"), 1U) << outcome.output;
  const sim::Machine& made = machines.at("web-01");
  EXPECT_EQ(made.size, machine(web)->size);
  EXPECT_EQ(contents(web), disks) << "the original is as it was";
  EXPECT_EQ(digest(made.os_disk, other), disks[0]);
  EXPECT_EQ(digest(made.data_disks.at(0), other), disks[1]);
}

TEST_F(RestoreSystem, MakesMachinesAnewUnderOtherNames) {
  ASSERT_THAT(run({"restore", "latest", web, "--as", "web-99", "--set", "Size=Standard_A1_v2", "--set",
                   "PowerState=deallocated", "--set", "DiskType=Standard_LRS", "--set", "Nsg="}),
              Ends(0));
  const std::string made = group_path + "web-99";
  EXPECT_EQ(contents(made), contents(web));
  EXPECT_EQ(machine(made)->size, "Standard_A1_v2");
  EXPECT_EQ(machine(made)->power_state, "deallocated");
  ASSERT_THAT(run({"restore", "latest", "DB-01", "--as", "DB-99"}), Ends(0));
  EXPECT_EQ(contents("/" + subscription + "/Data_RG.1/DB-99"), contents(db));

  const auto machines = [&] { return json::parse(cloud_.state())["machines"].size(); };
  const std::size_t count = machines();
  const Outcome disks = run({"restore", "latest", web, "--disks-only", "--json"});
  ASSERT_EQ(disks.exit_code, 0) << disks.output << disks.error;
  EXPECT_EQ(machines(), count);
  const json report = json::parse(disks.output);
  Texts digests;
  for (const json& disk : report["machines"][0]["disks"]) digests.push_back(cloud_.disk_digest(disk["name"]).sha256);
  EXPECT_EQ(digests, contents(web));
}

TEST_F(RestoreSystem, RefusesATargetThatIsNotThereBeforeAnythingIsMade) {
  const Texts before = standing();
  for (const auto& [setting, words] : std::vector<std::pair<std::string, std::string>>{
           {"DiskRg=gone", "Failed to find disk resource group name=gone"},
           {"StagingStorageAccount=gone", "Failed to find Staging Storage Account=gone"},
           {"SubId=gone", "Failed to find subscription ID =gone"},
           {"DiskType=Slow", "Failed to find storage account type=Slow"}}) {
    for (const bool dry : {true, false}) {
      Texts arguments{"restore", "latest", web, "--as", "web-99", "--set", setting};
      if (dry) arguments.emplace_back("--dry-run");
      EXPECT_THAT(run(arguments), Ends(1, {words, dry ? "0 machines could be restored, 1 not" : "NOT RESTORED"}))
          << setting;
    }
  }
  EXPECT_EQ(standing(), before);
}

// Whatever a killed restore left, it is in nobody's way.
TEST_F(RestoreSystem, RunsAgainAtOnceWhereverItWasKilled) {
  const std::uintmax_t before = log().size();
  ASSERT_EQ(run({"restore", "latest", web, "--as", "web-whole"}).exit_code, 0);
  const std::uintmax_t whole = log().size() - before;
  const std::uintmax_t points = std::getenv("AZS_LONG") != nullptr ? 20 : 3;
  for (std::uintmax_t point = 0; point < points; ++point) {
    SCOPED_TRACE(point);
    const std::string name = "web-" + std::to_string(point);
    kill_within(point, points, whole, {"restore", "latest", web, "--as", name});
    if (machine(group_path + name)) continue;  // killed when there was nothing left to do
    EXPECT_THAT(run({"restore", "latest", web, "--as", name}), Ends(0));
    EXPECT_EQ(contents(group_path + name), contents(web));
  }
}

}  // namespace
