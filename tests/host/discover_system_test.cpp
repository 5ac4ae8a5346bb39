// azsbackup discover as a whole: the program, the real plug-in and a simulated Azure Stack.
#include <gmock/gmock.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "sim/client_files.h"
#include "sim/simulator.h"
#include "tests/host/no_secret.h"
#include "tests/host/program.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace {

using host_test::Ends;
using host_test::Outcome;
using testing::HasSubstr;
using testing::Not;

const std::string subscription = "/4caa8431-21b4-4e0b-bca0-1542a5f11e23";

// The demonstration world with a machine that cannot be protected whole and one that the filter "running" keeps out.
sim::World mixed_world() {
  sim::World world = sim::demo_world();
  auto& groups = world.subscriptions.front().resource_groups;
  auto& web = groups.at("web-rg").machines;
  sim::Machine five = web.at("web-01");
  five.data_disks.resize(5, five.data_disks.front());
  web.emplace("five-disks", five);
  auto& data = groups.at("Data_RG.1").machines;
  data.emplace("idle", data.at("DB-01"));
  data.at("DB-01").power_state = "running";
  return world;
}

class Discover : public testing::Test {
 protected:
  // A second call replaces the simulator.
  void start(sim::World world) {
    world_ = std::move(world);
    sim::Options options;
    options.world = world_;
    cloud_ = std::make_unique<sim::Simulator>(std::move(options));
    sim::write_client_files(folder_.path("client"), *cloud_, world_);
    config_ = folder_.write_file("config", test_support::read_file(folder_.path("client/azurestack.conf")) +
                                               "ENABLE_SNAPSHOT_CLEANUP=2\nCURL_VERBOSE=true\n" + more_config_);
  }

  Outcome discover(std::vector<std::string> arguments, const std::vector<std::string>& environment = {}) const {
    arguments.insert(arguments.begin(),
                     {"discover", "--server", cloud_->management_host(), "--config", config_, "--credentials",
                      folder_.path("client/credentials"), "--log-file", folder_.path("log")});
    return host_test::run_azsbackup(arguments, folder_.path("home"), environment);
  }

  void expect_no_secret(const Outcome& outcome) const {
    host_test::expect_no_secret(outcome.output + outcome.error + test_support::read_file(folder_.path("log")), world_,
                                cloud_->requests());
  }

  const test_support::TemporaryDirectory folder_;
  std::string more_config_;
  sim::World world_;
  std::unique_ptr<sim::Simulator> cloud_;
  std::string config_;
};

TEST_F(Discover, ShowsTheTreeAndWhatIsLeftOut) {
  more_config_ = "VM_STATE=running\n";
  start(mixed_world());
  std::filesystem::create_directory(folder_.path("tmp"));
  const Outcome outcome = discover({subscription.substr(1), "-vv"}, {"TMPDIR=" + folder_.path("tmp")});
  EXPECT_EQ(outcome.exit_code, 3) << outcome.error;
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.output, "subscription " + subscription.substr(1) +
                                "\n"
                                "  Data_RG.1\n"
                                "    DB-01 (Standard_A1_v2, running)\n"
                                "      network           data-vnet/default\n"
                                "      boot diagnostics  demodiag1\n"
                                "      OS disk           unmanaged, 1 GB: demodisks1/vhds/DB-01-os.vhd\n"
                                "  web-rg\n"
                                "    web-01 (Standard_DS1_v2, running)\n"
                                "      network           web-vnet/frontend, security group web-nsg\n"
                                "      boot diagnostics  off\n"
                                "      OS disk           managed, Premium_LRS, 1 GB: web-01-os\n"
                                "      data disk         managed, Standard_LRS, 1 GB: web-01-data\n"
                                "\n"
                                "Not protected:\n"
                                "  " +
                                subscription +
                                "/web-rg/five-disks\n"
                                "    it has 5 data disks, at most 4 can be protected\n"
                                "\n"
                                "Filtered out:\n"
                                "  " +
                                subscription +
                                "/Data_RG.1/idle\n"
                                "    its power state is \"deallocated\", not \"running\"\n"
                                "\n"
                                "2 machines with 3 disks would be protected; 1 machine cannot be; "
                                "1 machine filtered out by VM_STATE.\n");
  expect_no_secret(outcome);
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path("tmp")));
}

// The configuration wants snapshots and the deletion of stale ones; looking does neither.
TEST_F(Discover, ChangesNothing) {
  start(sim::demo_world());
  EXPECT_EQ(discover({subscription, "-vv"}).exit_code, 0);
  const std::string log = test_support::read_file(folder_.path("log"));
  EXPECT_THAT(log, Not(HasSubstr("Snapshot creation")));
  EXPECT_THAT(log, HasSubstr("Delete Stale Snapshot: 0"));
  std::size_t read = 0;
  for (const auto& request : cloud_->requests()) {
    if (request.target.find("oauth2") != std::string::npos) continue;
    EXPECT_EQ(request.method, "GET") << request.target;
    EXPECT_THAT(request.target, Not(HasSubstr("napshot")));
    EXPECT_THAT(request.target, Not(HasSubstr("storageAccounts")));
    ++read;
  }
  EXPECT_GT(read, 4U);
}

TEST_F(Discover, PrintsOneJsonObjectWhateverComes) {
  start(mixed_world());
  const auto object = nlohmann::json::parse(discover({subscription + "/web-rg", "--json"}).output);
  EXPECT_EQ(object["result"], "partial");
  EXPECT_EQ(object["machines"].size(), 1U);
  EXPECT_EQ(object["machines"][0]["disks"][1]["storage_type"], "Standard_LRS");
  EXPECT_EQ(object["refused"][0]["path"], subscription + "/web-rg/five-disks");
  EXPECT_TRUE(object["error"].is_null());
  const auto failed = nlohmann::json::parse(discover({subscription + "/absent", "--json"}).output);
  EXPECT_THAT(failed["error"]["what"], HasSubstr("ResourceGroupNotFound"));
  for (const auto& member : object.items()) EXPECT_TRUE(failed.contains(member.key())) << member.key();
}

TEST_F(Discover, EndsWithTheCodeOfTheCase) {
  start(mixed_world());
  struct Case {
    std::vector<std::string> selections;
    int exit_code;
    std::string words;
  };
  const std::vector<Case> cases = {
      {{"/b6bb2c0e-6b3c-4a3e-8f0a-0f8b4a7c9d51"}, 4, "No machine would be protected."},
      {{subscription + "/WEB-rg/WEB-01", subscription + "/web-rg/web-01"}, 0, "1 machine with 2 disks would"},
      {{subscription + "/web-rg/absent"}, 1, "(ResourceNotFound"},
      {{subscription + "/web-rg/five-disks", subscription + "/web-rg"}, 3, "; 1 machine cannot be."},
      {{"/absent"}, 1, "SubscriptionNotFound"},
  };
  for (const Case& given : cases) {
    EXPECT_THAT(discover(given.selections), Ends(given.exit_code, {given.words}));
  }
}

// What was not listed is not known to be there, which is no reason to say that all is well.
TEST_F(Discover, TellsOfListsThatItCouldNotRead) {
  start(sim::demo_world());
  sim::Response forbidden;
  forbidden.status = 403;
  forbidden.body = R"({"error":{"code":"AuthorizationFailed","message":"no role here"}})";
  cloud_->add_fault({.target = "web-rg/providers", .action = sim::AnswerWith{forbidden, {}}});
  EXPECT_THAT(discover({subscription}), Ends(3, {"resource group web-rg\n    its machines cannot be listed",
                                                 "AuthorizationFailed: no role here"}));
  EXPECT_EQ(cloud_->unused_faults(), std::vector<std::string>{});

  sim::World paged = mixed_world();
  paged.page_size = 1;
  start(paged);
  EXPECT_THAT(discover({subscription + "/Data_RG.1"}), Ends(3, {"goes on after its first page"}));
}

TEST_F(Discover, RefusesAWrongSecretWithoutShowingIt) {
  start(sim::demo_world());
  cloud_->add_fault({.target = "^/subscriptions", .times = sim::Fault::forever, .action = sim::RefuseToken{}});
  const Outcome refused = discover({subscription, "-vv"});
  EXPECT_EQ(refused.exit_code, 14) << refused.error;
  EXPECT_THAT(refused.error, HasSubstr("-> Check AuthResource"));
  expect_no_secret(refused);
}

TEST_F(Discover, KeepsTheWorkloadFilesInANewFolderOnly) {
  start(sim::demo_world());
  const std::string keep = folder_.path("it's >kept; $(x)");
  EXPECT_THAT(discover({subscription, "--keep", keep}), Ends(0));
  EXPECT_EQ(std::filesystem::status(keep).permissions(), std::filesystem::perms::owner_all);
  EXPECT_TRUE(std::filesystem::exists(keep + "/azsbackup.discover.1"));
  EXPECT_THAT(discover({subscription, "--keep", keep}), Ends(2, {"name one that does not exist yet"}));
  EXPECT_THAT(discover({subscription, "--keep", folder_.path("a/b")}), Ends(2, {"name one where you may write"}));
  EXPECT_THAT(discover({subscription}, {"TMPDIR=/proc/nowhere"}), Ends(2, {"set TMPDIR"}));
}

}  // namespace
