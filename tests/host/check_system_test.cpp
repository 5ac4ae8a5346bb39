// azsbackup check as a whole: the program, the real plug-in and a simulated Azure Stack, each with one thing wrong.
#include <gmock/gmock.h>

#include <functional>
#include <utility>

#include "sim/client_files.h"
#include "sim/simulator.h"
#include "tests/host/no_secret.h"
#include "tests/host/program.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace {

// What a check is run with; a case changes what it wants to be wrong.
struct CheckSetup {
  std::string server;
  std::string config;
  std::string credentials;
  std::string password;  // of the user's login at AD FS
};

struct Case {
  const char* name;
  int exit_code;
  std::vector<std::string> words;
  std::function<void(CheckSetup&)> client = {};
  std::function<void(sim::Simulator&)> cloud = {};
  bool adfs = false;
  bool no_subscription = false;
};

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  if (at == std::string::npos) throw std::logic_error("not in the text: " + from);
  return text.replace(at, from.size(), to);
}

// Every line is logged, curl's trace included, so that a secret has every chance to show itself.
void expect_outcome(const Case& given) {
  SCOPED_TRACE(given.name);
  const test_support::TemporaryDirectory folder;
  sim::Options options;
  if (given.no_subscription) options.world.subscriptions.clear();
  sim::Simulator simulator(options);
  if (given.cloud) given.cloud(simulator);

  const auto client_file = [&](const std::string& name) {
    return test_support::read_file(folder.path("client/" + name));
  };
  sim::write_client_files(folder.path("client"), simulator, options.world);
  CheckSetup setup{simulator.management_host(), client_file("azurestack.conf") + "CURL_VERBOSE=true\n",
                   client_file(given.adfs ? "credentials-adfs" : "credentials"),
                   options.world.adfs_users.front().password};
  if (given.client) given.client(setup);
  std::vector<std::string> arguments{"check",         "-vv",
                                     "--server",      setup.server,
                                     "--log-file",    folder.path("log"),
                                     "--config",      folder.write_file("config", setup.config),
                                     "--credentials", folder.write_file("credentials", setup.credentials)};
  if (given.adfs) {
    const std::string file = folder.write_file("password", setup.password + "\n");
    arguments.insert(arguments.end(), {"--user", options.world.adfs_users.front().user_name, "--password-command",
                                       "cat '" + file + "'"});
  }
  const host_test::Outcome outcome = host_test::run_azsbackup(arguments, folder.path("home"));
  EXPECT_THAT(outcome, host_test::Ends(given.exit_code, given.words));
  host_test::expect_no_secret(outcome.output + outcome.error + test_support::read_file(folder.path("log")),
                              options.world, simulator.requests());
  EXPECT_EQ(simulator.unused_faults(), std::vector<std::string>{});
}

void trust_another_authority(CheckSetup& setup) {
  static const sim::Simulator other;
  setup.config = "CA_FILE_PATH=" + other.ca_file().string() + "\n" + setup.config;  // the first of two holds
}

sim::Fault always(decltype(sim::Fault::action) action) {
  return {.target = "^/subscriptions", .times = sim::Fault::forever, .action = std::move(action)};
}

sim::Fault no_json() {
  sim::Response response;
  response.status = 200;
  response.body = "<html>sign in</html>";
  return {.target = "^/subscriptions", .action = sim::AnswerWith{response, {}}};
}

TEST(Check, EndsWithItsCodeAndWords) {
  const auto replace_in = [](std::string CheckSetup::*file, const char* from, const char* to) {
    return [=](CheckSetup& setup) { setup.*file = replaced(setup.*file, from, to); };
  };
  const auto ask = [](const char* server) { return [=](CheckSetup& setup) { setup.server = server; }; };
  const auto with = [](const sim::Fault& fault) { return [=](sim::Simulator& cloud) { cloud.add_fault(fault); }; };
  const std::vector<Case> cases = {
      {"works with AAD", 0, {"ok       certificates", "2 visible", "everything works"}},
      {.name = "works with AD FS", .exit_code = 0, .words = {"2 visible"}, .adfs = true},
      {"nothing is verified", 0, {"warning  certificates"}, replace_in(&CheckSetup::config, "CA_FILE_PATH", "#")},
      {"no such server", 12, {"ok       login", ".invalid: no such host"}, ask("management.local.azurestack.invalid")},
      {.name = "nothing listens",
       .exit_code = 12,
       .words = {"adfs.local.azurestack.localhost:1: no connection"},
       .client = ask("management.local.azurestack.localhost:1"),
       .adfs = true},
      {"connection cut", 12, {"ok       login", "the connection failed"}, {}, with(always(sim::ResetBeforeAnswer{}))},
      {"three labels", 11, {"refused", "four labels"}, ask("azurestack:management.local.stack")},
      {"wrong authority", 13, {"certificate is refused"}, trust_another_authority},
      {"wrong secret",
       14,
       {"AADSTS50012: Invalid client secret", "-        Azure Stack"},
       replace_in(&CheckSetup::credentials, "secret=42", "secret=43")},
      {.name = "wrong password",
       .exit_code = 14,
       .words = {"invalid_grant: MSIS9659"},
       .client = [](CheckSetup& setup) { setup.password += "!"; },
       .adfs = true},
      {"incomplete store",
       14,
       {"The credentials store lacks AuthResource"},
       replace_in(&CheckSetup::credentials, "AuthResource", "#")},
      {"token refused", 14, {"ok       login", "does not accept its token"}, {}, with(always(sim::RefuseToken{}))},
      {"answer is no JSON", 1, {"not JSON"}, {}, with(no_json())},
      {.name = "no subscription",
       .exit_code = 15,
       .words = {"ok       Azure Stack", "sees no subscription"},
       .no_subscription = true}};
  for (const Case& given : cases) expect_outcome(given);
}

}  // namespace
