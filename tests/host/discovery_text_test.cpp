#include "host/discovery_text.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

namespace {

using host::Discovery;
using host::ExitCode;
using testing::HasSubstr;
using testing::Not;

host::Machine machine(const std::string& group, const std::string& name) {
  host::Machine made;
  made.path = "/s/" + group + "/" + name;
  made.subscription = "s";
  made.resource_group = group;
  made.name = name;
  made.boot_diagnostics = "Off";
  made.disks = {{made.path + "/ManagedDisks:/G/os", host::ManagedDisk{"", "G", "os"}},
                {made.path + "/ManagedDisks:P/h/d", host::ManagedDisk{"P", "h", "d"}}};
  return made;
}

// How a whole tree looks, the tests of the program show.
TEST(DiscoveryTree, ShowsGroupsOnceAndNothingThatATerminalObeys) {
  Discovery discovery;
  discovery.machines = {machine("g", "a\033[2Jb"), machine("G", "x\ny")};
  discovery.machines[1].virtual_network = "net";
  discovery.machines[1].security_group = "\xc2\x9bX";
  discovery.refused = {{"/s/g/\r/root", "bad\033]0;title\007"}};
  discovery.filtered = {{"/s/g/idle", "its power state"}};
  const std::string tree = host::discovery_tree(discovery, false);
  for (const char* words : {"subscription s\n  g\n    a\\x1b[2Jb (unknown, unknown)\n      network           unknown\n",
                            "managed, type unknown: os\n", "managed, P: d in resource group h\n    x\\ny (", "\\x9bX\n",
                            "  /s/g/\\r/root\n    bad\\x1b]0;title\\x07\n\n2 machines"}) {
    EXPECT_THAT(tree, HasSubstr(words));
  }
  EXPECT_THAT(tree, Not(HasSubstr("/s/g/idle")));
  const auto object = host::discovery_json(discovery)["machines"][0];
  EXPECT_TRUE(object["size"].is_null());
  EXPECT_EQ(object["boot_diagnostics"], false);
  EXPECT_TRUE(object["disks"][0]["storage_type"].is_null());
}

TEST(DiscoveryCode, TellsTheOutcomesApart) {
  const std::vector<host::LeftOut> some = {{"what", "why"}};
  const std::vector<host::Machine> machines = {machine("g", "a")};
  const std::vector<std::pair<Discovery, ExitCode>> cases = {
      {{machines, {}, {}, {}}, ExitCode::ok},        {{machines, {}, some, {}}, ExitCode::ok},
      {{machines, some, {}, {}}, ExitCode::partial}, {{machines, {}, {}, some}, ExitCode::partial},
      {{{}, some, {}, {}}, ExitCode::failed},        {{{}, {}, {}, some}, ExitCode::failed},
      {{{}, {}, some, {}}, ExitCode::nothing_found}, {{{}, {}, {}, {}}, ExitCode::nothing_found},
  };
  for (const auto& [discovery, code] : cases) {
    EXPECT_EQ(host::discovery_code(discovery), code) << host::discovery_tree(discovery, true);
  }
}

}  // namespace
