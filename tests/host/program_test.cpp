// The program's frame, with a fake plug-in: options, exit codes, where output goes.
#include <gmock/gmock.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/host/program.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace {

using host_test::Ends;
using host_test::Outcome;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

using Texts = std::vector<std::string>;

const std::string good_name = "works.r1.stack.example";

class Program : public testing::Test {
 protected:
  Outcome run(const std::string& command, Texts arguments, const std::string& server = good_name) const {
    arguments.insert(arguments.begin(), {command, "--plugin", FAKE_PLUGIN, "--log-file", log_, "--server", server});
    return host_test::run_azsbackup(arguments, folder_.path("home"));
  }
  std::string log() const { return test_support::read_file(log_); }

  const test_support::TemporaryDirectory folder_;
  const std::string log_ = folder_.path("log");
};

TEST_F(Program, KeepsThePluginsOutputOutOfItsOwn) {
  const Outcome outcome = run("check", {});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
  EXPECT_EQ(outcome.error, "");
  EXPECT_THAT(outcome.output, Not(HasSubstr("noise")));
  EXPECT_THAT(log(), AllOf(HasSubstr("noise on output\n"), HasSubstr("noise on error\n"), Not(HasSubstr("a step"))));
}

TEST_F(Program, PrintsOneJsonObject) {
  const auto object = json::parse(run("check", {"--json"}, "fails.r1.stack.example").output);
  EXPECT_EQ(object["server"], "azurestack:fails.r1.stack.example");
  EXPECT_EQ(object["result"], "failed");
  EXPECT_EQ(object["exit_code"], 1);
  EXPECT_EQ(object["steps"][0]["state"], "ok");
  EXPECT_EQ(object["steps"].back()["state"], "not tried");
  const Outcome refused = run("check", {"--json", "--user", "anna", "--password-file", "/dev/null"});
  EXPECT_EQ(json::parse(refused.output)["exit_code"], 2);
}

// A refused name still gives a handle, which has to be closed.
TEST_F(Program, ClosesTheHandleOfARefusedName) {
  for (const char* command : {"check", "discover"}) {
    std::filesystem::remove(log_);
    EXPECT_EQ(run(command, command[0] == 'd' ? Texts{"/s"} : Texts{}, "works.r1").exit_code, 11);
    const std::string calls = log();
    EXPECT_THAT(calls, HasSubstr(" closed\n"));
    EXPECT_EQ(calls.find(" closed\n"), calls.rfind(" closed\n"));
  }
}

TEST_F(Program, TellsOfTheFilesItWasGiven) {
  const std::string store = folder_.write_file("credentials", "ClientId=x\n", 0644);
  EXPECT_THAT(run("check", {"--credentials", store}), Ends(0, {"chmod 600"}));
  for (const char* option : {"--config", "--credentials"}) {
    EXPECT_THAT(run("check", {option, folder_.path("absent")}), Ends(2, {"absent cannot be opened: No such file"}));
  }
}

TEST_F(Program, RefusesUnusableOptions) {
  const std::string works = "check --server " + good_name;
  for (const std::string& line :
       {std::string(), std::string("nonsense"), std::string("check"), works + " --password hunter2",
        works + " --user anna", works + " --password-file /dev/null", works + " --log-file /proc/nowhere/log"}) {
    const Outcome outcome = host_test::run_azsbackup(host_test::words(line), folder_.path("home"));
    EXPECT_EQ(outcome.exit_code, 2) << line;
    EXPECT_NE(outcome.error, "");
  }
  const Texts selections = {"",    "/",     "//g",   "/s/",    "/s/g/v/x",         "a b",
                            " /s", "/s\tg", "/s/..", "/s?x=y", "/subscriptions/s", "/s/" + std::string(1100, 'g')};
  for (const std::string& selection : selections) {
    EXPECT_THAT(run("discover", {"/s", selection}), Ends(2, {"selec"})) << selection;
  }
  EXPECT_EQ(run("discover", {}).exit_code, 2);
}

TEST_F(Program, SaysWhenThePluginCannotBeLoaded) {
  const Outcome outcome =
      host_test::run_azsbackup({"check", "--server", good_name, "--plugin", "/absent.so"}, folder_.path("home"));
  EXPECT_EQ(outcome.exit_code, 10);
  EXPECT_THAT(outcome.output, HasSubstr("/absent.so"));
  EXPECT_TRUE(std::filesystem::exists(folder_.path("home/.local/state/azsbackup/azsbackup.log")));
}

// The plug-in's status is 0 in all of these: the files and its own count have to agree.
TEST_F(Program, DoesNotTakeABrokenDiscoveryForAnEmptyOne) {
  for (const auto& [kind, words] : std::vector<std::pair<std::string, std::string>>{
           {"torn", "breaks off within a record"}, {"short", "hold 0 machines of 1"}, {"silent", "Failed to open"}}) {
    EXPECT_THAT(run("discover", {"/s"}, kind + ".r1.stack.example"), Ends(1, {words, "TMPDIR"})) << kind;
  }
  EXPECT_EQ(run("discover", {"/s"}).exit_code, 4);
}

// A result that could not be written is no success.
TEST_F(Program, FailsWhenItsOutputIsLost) {
  const std::string command = std::string(AZSBACKUP_PROGRAM) + " check --server " + good_name + " --plugin " +
                              FAKE_PLUGIN + " --log-file " + log_ + " > /dev/full 2> /dev/null";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);  // NOLINT(cert-env33-c)
}

}  // namespace
