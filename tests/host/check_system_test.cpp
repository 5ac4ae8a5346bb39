// azsbackup check as a whole: the program, the real plug-in and a simulated Azure Stack, each with one thing wrong.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>

#include "sim/client_files.h"
#include "sim/simulator.h"
#include "tests/host/no_secret.h"
#include "tests/host/program.h"
#include "tests/host/temporary_folder.h"

namespace {

using host_test::Outcome;
using host_test::TemporaryFolder;

// What a check is run with; a case changes what it wants to be wrong.
struct Setup {
  std::string server;
  std::string config;
  std::string credentials;
  std::string password = "";  // not empty: the user's login at AD FS
  std::string user = "";
};

enum class Authority { aad, adfs };

struct Case {
  const char* name;
  Authority authority;
  std::function<void(sim::World&)> world;
  std::function<void(sim::Simulator&)> cloud;
  std::function<void(Setup&)> client;
  int exit_code;
  std::vector<std::string> words;
};

// Without it a failure shows the bytes of the record.
void PrintTo(const Case& given, std::ostream* out) { *out << given.name; }

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  if (at == std::string::npos) throw std::logic_error("not in the text: " + from);
  return text.replace(at, from.size(), to);
}

sim::World world_of(const Case& given) {
  sim::World world = sim::demo_world();
  if (given.world) given.world(world);
  return world;
}

// Every line is logged, curl's trace included, so that a secret has every chance to show itself.
Setup setup_for(const Case& given, const sim::Simulator& simulator, const sim::World& world,
                const TemporaryFolder& folder) {
  sim::write_client_files(folder.path("client"), simulator, world);
  Setup setup{simulator.management_host(), host_test::read_file(folder.path("client/azurestack.conf")), ""};
  setup.config += "CURL_VERBOSE=true\n";
  const bool adfs = given.authority == Authority::adfs;
  setup.credentials = host_test::read_file(folder.path(adfs ? "client/credentials-adfs" : "client/credentials"));
  if (adfs) {
    setup.user = world.adfs_users.front().user_name;
    setup.password = world.adfs_users.front().password;
  }
  if (given.client) given.client(setup);
  return setup;
}

Outcome run_check(const Setup& setup, const TemporaryFolder& folder) {
  std::vector<std::string> arguments{"check",         "-vv",
                                     "--server",      setup.server,
                                     "--log-file",    folder.path("log"),
                                     "--config",      folder.write("config", setup.config),
                                     "--credentials", folder.write("credentials", setup.credentials)};
  if (!setup.user.empty()) {
    const std::string file = folder.write("password", setup.password + "\n");
    arguments.insert(arguments.end(), {"--user", setup.user, "--password-command", "cat '" + file + "'"});
  }
  return host_test::run_azsbackup(arguments, folder.path("home"));
}

class Check : public testing::TestWithParam<Case> {};

TEST_P(Check, EndsWithItsCodeAndWords) {
  const Case& given = GetParam();
  const TemporaryFolder folder;
  const sim::World world = world_of(given);
  sim::Options options;
  options.world = world;
  sim::Simulator simulator(std::move(options));
  if (given.cloud) given.cloud(simulator);

  const Outcome outcome = run_check(setup_for(given, simulator, world, folder), folder);
  EXPECT_EQ(outcome.exit_code, given.exit_code) << outcome.output << outcome.error;
  for (const std::string& word : given.words) {
    EXPECT_NE(outcome.output.find(word), std::string::npos) << word << "\n" << outcome.output;
  }
  host_test::expect_no_secret(outcome.output + outcome.error + host_test::read_file(folder.path("log")), world,
                              simulator.requests());
  EXPECT_EQ(simulator.unused_faults(), std::vector<std::string>{});
}

void add_answer(sim::Simulator& simulator, const std::string& body) {
  sim::Response response;
  response.status = 200;
  response.body = body;
  simulator.add_fault({.target = "^/subscriptions", .action = sim::AnswerWith{response, {}}});
}

void trust_another_authority(Setup& setup) {
  static const sim::Simulator other;
  setup.config = "CA_FILE_PATH=" + other.ca_file().string() + "\n" + setup.config;  // the first of two holds
}

INSTANTIATE_TEST_SUITE_P(
    System, Check,
    testing::Values(
        Case{"WorksWithAad", Authority::aad, {}, {}, {}, 0, {"ok       certificates", "2 visible", "everything works"}},
        Case{"WorksWithAdfs", Authority::adfs, {}, {}, {}, 0, {"2 visible"}},
        Case{"WarnsWhenNothingIsVerified",
             Authority::aad,
             {},
             {},
             [](Setup& setup) { setup.config = replaced(setup.config, "CA_FILE_PATH", "#"); },
             0,
             {"warning  certificates", "CA_FILE_PATH"}},
        Case{"NoSuchServer",
             Authority::aad,
             {},
             {},
             [](Setup& setup) { setup.server = "management.local.azurestack.invalid"; },
             12,
             {"ok       login", "management.local.azurestack.invalid: no such host"}},
        Case{"NothingListens",
             Authority::adfs,
             {},
             {},
             [](Setup& setup) { setup.server = "management.local.azurestack.localhost:1"; },
             12,
             {"adfs.local.azurestack.localhost:1: no connection"}},
        Case{"ConnectionCut",
             Authority::aad,
             {},
             [](sim::Simulator& simulator) {
               simulator.add_fault(
                   {.target = "^/subscriptions", .times = sim::Fault::forever, .action = sim::ResetBeforeAnswer{}});
             },
             {},
             12,
             {"ok       login", "the connection failed"}},
        Case{"NameOfThreeLabels",
             Authority::aad,
             {},
             {},
             [](Setup& setup) { setup.server = "azurestack:management.local.stack"; },
             11,
             {"refused", "four labels"}},
        Case{"WrongAuthority", Authority::aad, {}, {}, trust_another_authority, 13, {"certificate is refused"}},
        Case{"WrongSecret",
             Authority::aad,
             {},
             {},
             [](Setup& setup) { setup.credentials = replaced(setup.credentials, "secret=42", "secret=43"); },
             14,
             {"AADSTS50012: Invalid client secret", "-        Azure Stack"}},
        Case{"WrongPassword",
             Authority::adfs,
             {},
             {},
             [](Setup& setup) { setup.password += "!"; },
             14,
             {"invalid_grant: MSIS9659"}},
        Case{"IncompleteStore",
             Authority::aad,
             {},
             {},
             [](Setup& setup) { setup.credentials = replaced(setup.credentials, "AuthResource", "#"); },
             14,
             {"The credentials store lacks AuthResource"}},
        Case{"TokenAlwaysRefused",
             Authority::aad,
             {},
             [](sim::Simulator& simulator) {
               simulator.add_fault(
                   {.target = "^/subscriptions", .times = sim::Fault::forever, .action = sim::RefuseToken{}});
             },
             {},
             14,
             {"ok       login", "does not accept its token"}},
        Case{"AnswerIsNoJson",
             Authority::aad,
             {},
             [](sim::Simulator& simulator) { add_answer(simulator, "<html>sign in</html>"); },
             {},
             1,
             {"not JSON"}},
        Case{"NoSubscription",
             Authority::aad,
             [](sim::World& world) { world.subscriptions.clear(); },
             {},
             {},
             15,
             {"ok       Azure Stack", "sees no subscription"}}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace
