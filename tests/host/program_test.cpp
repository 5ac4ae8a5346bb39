// The program's frame, with a fake plug-in: options, exit codes, where output goes.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/host/program.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace {

using host_test::Outcome;
using host_test::run_azsbackup;
using test_support::read_file;

constexpr const char* good_name = "works.r1.stack.example";

class Program : public testing::Test {
 protected:
  Outcome check(std::vector<std::string> arguments, const std::vector<std::string>& environment = {}) const {
    arguments.insert(arguments.begin(), {"check", "--plugin", FAKE_PLUGIN, "--log-file", log_});
    return run_azsbackup(arguments, folder_.path("home"), environment);
  }
  Outcome discover(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"discover", "--plugin", FAKE_PLUGIN, "--log-file", log_});
    return run_azsbackup(arguments, folder_.path("home"));
  }
  std::string log() const { return read_file(log_); }

  const test_support::TemporaryDirectory folder_;
  const std::string log_ = folder_.path("log");
};

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

TEST_F(Program, KeepsThePluginsOutputOutOfItsOwn) {
  const Outcome outcome = check({"--server", good_name});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.output.find("noise"), std::string::npos);
  EXPECT_NE(log().find("noise on output\n"), std::string::npos);
  EXPECT_NE(log().find("noise on error\n"), std::string::npos);
  EXPECT_EQ(log().find("a step"), std::string::npos);
  EXPECT_EQ(count(log(), " closed\n"), 1U);
}

TEST_F(Program, PrintsOneJsonObject) {
  const auto object = nlohmann::json::parse(check({"--server", "fails.r1.stack.example", "--json"}).output);
  EXPECT_EQ(object["server"], "azurestack:fails.r1.stack.example");
  EXPECT_EQ(object["result"], "failed");
  EXPECT_EQ(object["exit_code"], 1);
  EXPECT_EQ(object["steps"][0]["step"], "plug-in");
  EXPECT_EQ(object["steps"][0]["state"], "ok");
  EXPECT_EQ(object["steps"].back()["state"], "not tried");
  const Outcome refused = check({"--server", good_name, "--json", "--user", "anna", "--password-file", "/dev/null"});
  EXPECT_EQ(nlohmann::json::parse(refused.output)["exit_code"], 2);
}

// A refused name still gives a handle, which has to be closed.
TEST_F(Program, ClosesTheHandleOfARefusedName) {
  const Outcome outcome = check({"--server", "azurestack:works.r1.stack"});
  EXPECT_EQ(outcome.exit_code, 11) << outcome.output;
  EXPECT_NE(outcome.output.find("four labels"), std::string::npos) << outcome.output;
  EXPECT_EQ(count(log(), " closed\n"), 1U);
}

TEST_F(Program, GivesThePluginTheLoginAndShowsItNowhere) {
  const std::string password = folder_.write_file("password", "hunter2\n");
  const Outcome outcome =
      check({"--user", "anna", "--password-file", password, "-vv"}, {std::string("AZSBACKUP_SERVER=") + good_name});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
  EXPECT_NE(log().find("opened with login"), std::string::npos);
  EXPECT_EQ((outcome.output + outcome.error + log()).find("hunter2"), std::string::npos);
}

TEST_F(Program, TellsOfTheFilesItWasGiven) {
  const std::string store = folder_.write_file("credentials", "ClientId=x\n");
  std::filesystem::permissions(store, std::filesystem::perms(0644));
  const Outcome readable = check({"--server", good_name, "--credentials", store});
  EXPECT_EQ(readable.exit_code, 0);
  EXPECT_NE(readable.output.find("chmod 600"), std::string::npos) << readable.output;
  for (const char* option : {"--config", "--credentials"}) {
    const Outcome absent = check({"--server", good_name, option, folder_.path("absent")});
    EXPECT_EQ(absent.exit_code, 2);
    EXPECT_NE(absent.output.find("absent cannot be opened: No such file"), std::string::npos) << absent.output;
  }
}

TEST_F(Program, RefusesUnusableOptions) {
  const std::vector<std::vector<std::string>> lines = {
      {},
      {"nonsense"},
      {"check"},
      {"check", "--server", good_name, "--password", "hunter2"},
      {"check", "--server", good_name, "--user", "anna"},
      {"check", "--server", good_name, "--password-file", "/dev/null"},
      {"check", "--server", good_name, "--user", "anna", "--password-file", "/dev/null"},
      {"check", "--server", good_name, "--log-file", "/proc/nowhere/log"}};
  for (const auto& arguments : lines) {
    const Outcome outcome = run_azsbackup(arguments, folder_.path("home"));
    EXPECT_EQ(outcome.exit_code, 2) << (arguments.empty() ? "" : arguments.back());
    EXPECT_NE(outcome.error, "");
  }
}

TEST_F(Program, SaysWhenThePluginCannotBeLoaded) {
  const Outcome outcome =
      run_azsbackup({"check", "--server", good_name, "--plugin", "/absent.so"}, folder_.path("home"));
  EXPECT_EQ(outcome.exit_code, 10);
  EXPECT_NE(outcome.output.find("/absent.so"), std::string::npos) << outcome.output;
  EXPECT_TRUE(std::filesystem::exists(folder_.path("home/.local/state/azsbackup/azsbackup.log")));
}

// The plug-in's status is 0 in all of these: the files and its own count have to agree.
TEST_F(Program, DoesNotTakeABrokenDiscoveryForAnEmptyOne) {
  const std::vector<std::pair<std::string, std::string>> cases = {{"torn", "breaks off within a record"},
                                                                  {"short", "hold 0 machines of 1"},
                                                                  {"silent", "Failed to open azsbackup"}};
  for (const auto& [kind, words] : cases) {
    const Outcome outcome = discover({"--server", kind + ".r1.stack.example", "/s"});
    EXPECT_EQ(outcome.exit_code, 1) << kind;
    EXPECT_NE(outcome.error.find(words), std::string::npos) << outcome.error;
    EXPECT_NE(outcome.error.find("TMPDIR"), std::string::npos) << outcome.error;
  }
  EXPECT_EQ(discover({"--server", good_name, "/s"}).exit_code, 4);
  EXPECT_EQ(discover({"--server", "works.r1", "/s"}).exit_code, 11);
}

TEST_F(Program, RefusesSelectionsThatCannotBe) {
  const std::vector<std::vector<std::string>> lines = {{},
                                                       {""},
                                                       {"/"},
                                                       {"//g"},
                                                       {"/s/"},
                                                       {"/s/g/v/x"},
                                                       {"/s", "a b"},
                                                       {" /s"},
                                                       {"/s\tg"},
                                                       {"/s/.."},
                                                       {"/s?x=y"},
                                                       {"/subscriptions/s"},
                                                       {"/s/" + std::string(1100, 'g')}};
  for (const auto& selections : lines) {
    std::vector<std::string> arguments{"--server", good_name};
    arguments.insert(arguments.end(), selections.begin(), selections.end());
    const Outcome outcome = discover(arguments);
    EXPECT_EQ(outcome.exit_code, 2) << (selections.empty() ? "" : selections.back());
    EXPECT_NE(outcome.error.find("selec"), std::string::npos) << outcome.error;
  }
}

// A result that could not be written is no success.
TEST_F(Program, FailsWhenItsOutputIsLost) {
  const std::string command = std::string(AZSBACKUP_PROGRAM) + " check --server " + good_name + " --plugin " +
                              FAKE_PLUGIN + " --log-file " + log_ + " > /dev/full 2> /dev/null";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);  // NOLINT(cert-env33-c)
}

}  // namespace
