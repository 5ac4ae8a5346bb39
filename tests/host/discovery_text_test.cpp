#include "host/discovery_text.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

namespace {

using host::Discovery;
using host::ExitCode;
using testing::HasSubstr;

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

TEST(DiscoveryTree, ShowsGroupsOnceAndNothingThatATerminalObeys) {
  Discovery discovery;
  discovery.machines = {machine("g", "a\033[2Jb"), machine("G", "x\ny")};
  discovery.machines[1].virtual_network = "net";
  discovery.machines[1].security_group =
      "\xc2\x9b"
      "guard";
  discovery.refused = {{"/s/g/\r/root", "bad\033]0;title\007"}};
  const std::string tree = host::discovery_tree(discovery, false);
  EXPECT_EQ(tree,
            "subscription s\n"
            "  g\n"
            "    a\\x1b[2Jb (unknown, unknown)\n"
            "      network           unknown\n"
            "      boot diagnostics  off\n"
            "      OS disk           managed, type unknown: os\n"
            "      data disk         managed, P: d in resource group h\n"
            "    x\\ny (unknown, unknown)\n"
            "      network           net/unknown, security group \\x9bguard\n"
            "      boot diagnostics  off\n"
            "      OS disk           managed, type unknown: os\n"
            "      data disk         managed, P: d in resource group h\n"
            "\n"
            "Not protected:\n"
            "  /s/g/\\r/root\n"
            "    bad\\x1b]0;title\\x07\n"
            "\n"
            "2 machines with 4 disks would be protected; 1 machine cannot be.\n");
}

TEST(DiscoveryTree, ListsTheFilteredOnlyWhenAsked) {
  Discovery discovery;
  discovery.filtered = {{"/s/g/idle", "its power state"}};
  EXPECT_EQ(host::discovery_tree(discovery, false),
            "No machine would be protected; 1 machine filtered out by VM_STATE.\n");
  EXPECT_THAT(host::discovery_tree(discovery, true), HasSubstr("Filtered out:\n  /s/g/idle\n"));
}

TEST(DiscoveryJson, HasNullForWhatIsNotKnown) {
  Discovery discovery;
  discovery.machines = {machine("g", "a")};
  const auto object = host::discovery_json(discovery);
  const auto& first = object["machines"][0];
  EXPECT_TRUE(first["size"].is_null());
  EXPECT_TRUE(first["disks"][0]["storage_type"].is_null());
  EXPECT_EQ(first["boot_diagnostics"], false);
  EXPECT_TRUE(object["refused"].is_array());
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
