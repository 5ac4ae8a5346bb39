// What a selection yields: one machine, a group, a subscription, and who is left out with which line.
#include "src/model/azurestack_network.h"
#include "src/model/azurestack_rg.h"
#include "tests/model/model_fixture.h"

namespace model_test {
namespace {

using namespace azurestackpi;

const char* const kRunning = "vm-unmanaged-linux-running.json";

class SelectionTest : public ModelTest {
 protected:
  // Names of the machines read, group by group: "rg: a b; rg2: ;".
  std::string Build(const vm_env_t& env) {
    azurestackRG groups(rest, env);
    status = groups.buildRGFromEnv();
    std::string text;
    for (const auto& group : groups.resource_groups()) {
      text += group->m_name + ":";
      for (const auto& vm : group->m_vm->vm_details()) {
        text += " " + vm->m_name;
      }
      text += "; ";
    }
    return text;
  }

  // A machine's description with a name of its own.
  static std::string Machine(const std::string& name, const std::string& id = "") {
    return R"({"name":")" + name + R"(","id":")" + (id.empty() ? "/subscriptions/sub/resourceGroups/rg/" + name : id) +
           R"(","properties":{"storageProfile":{"osDisk":{"vhd":{"uri":"https://a/v/d.vhd"}}},"networkProfile":)"
           R"({"networkInterfaces":[{"id":"/nics/first"},{"id":"/nics/last/"}]},)"
           R"("instanceView":{"statuses":[{"code":"PowerState/running"}]}}})";
  }

  Status status = kOk;
};

TEST_F(SelectionTest, AGroupIsReadFromItsListAndTheNextPageIsTold) {
  Serve("/virtualMachines\\?api-version=2017-12-01$", ReadData("vm-list-two-with-nextlink.json"));
  Serve("/virtualMachines/vm-with-public-ip\\?", Machine("vm-with-public-ip"));
  Serve("/virtualMachines/vm-second\\?", Machine("vm-second"));
  Serve("^/nics/last/\\?api-version=2017-10-01$", ReadData("nic-definition.json"));
  EXPECT_EQ(Build(Env()), "rg: vm-with-public-ip vm-second; ");
  EXPECT_EQ(status, kOk);
  EXPECT_EQ(ManagementRequests().size(), 5U) << "the list, and two requests a machine";
  EXPECT_TRUE(log.contains(4, "Next Page Exists at https://management.azure.com:443/subscriptions/"));
  EXPECT_TRUE(log.contains(1, "Total VMs: 2"));
}

TEST_F(SelectionTest, ListsWithoutANextPage) {
  for (const char* list : {"{\"value\":[],\"nextLink\":null}", "{\"nextLink\":\"\",\"value\":[]}", "{\"value\":[]}"}) {
    ServeOnce("/virtualMachines\\?", list);
    EXPECT_EQ(Build(Env()), "rg:; ");
    EXPECT_EQ(status, kOk);
    EXPECT_FALSE(log.contains(4, "Next Page"));
  }
  ServeOnce("/virtualMachines\\?", R"({"value":"none"})");
  EXPECT_EQ(Build(Env()), "rg:; ");
  EXPECT_TRUE(log.contains(4, "The answer holds no list"));
}

TEST_F(SelectionTest, AnOddElementHidesNoOther) {
  Serve("/virtualMachines/good\\?", Machine("good"));
  Serve("^/nics/", "{}");
  for (const char* odd : {R"({"name":"a\u0000b"})", R"({"name":"n","tags":{"t":"\u0000"}})",
                          R"({"n":98765432109876543210})", R"({"tags":{"t":1,"t":2}})"}) {
    log.clear();
    ServeOnce("/virtualMachines\\?", std::string(R"({"value":[)") + odd + R"(,{"name":"good"}]})");
    EXPECT_EQ(Build(Env()), "rg: good; ") << odd;
    EXPECT_TRUE(log.contains(4, "A part of the list cannot be read")) << odd;
  }
}

TEST_F(SelectionTest, OneMachinesTroubleIsToldAndTakesNoOtherDown) {
  struct Row {
    const char* name;
    int http_status;
    std::string body;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"gone", 404, R"({"error":{"code":"ResourceNotFound"}})",
       "Resource Manager answered 404 Not Found (ResourceNotFound)"},
      {"forbidden", 403, "{}", "Resource Manager answered 403 Forbidden"},
      {"html", 200, "<html>", "Resource Manager sent something that is not JSON"},
      {"cut", 200, "{\"name\":", "Resource Manager sent something that is not JSON"},
      {"empty", 200, "", "Resource Manager sent something that is not JSON"},
      {"twice", 200, R"({"name":"twice","name":null})", "Resource Manager sent something that is not JSON"},
      {"other", 200, Machine("another"), "Resource Manager answered with another machine: "},
      {"moved", 200, Machine("moved", "/subscriptions/sub/resourceGroups/other/moved"), "another machine: /subscr"},
      {"sold", 200, Machine("sold", "/subscriptions/other/resourceGroups/rg/sold"), "another machine: /subscr"},
      {"alias", 200, Machine("", "/subscriptions/sub/resourceGroups/rg/real"), "another machine: /subscr"},
      {"lower", 200, Machine("lower", "/s/resourcegroups/rg/x"), "its id names no resource group"},
      {"short", 200, Machine("short", "/s/resourceGroups"), "its id names no resource group"},
      {"nogroup", 200, Machine("nogroup", "/s/resourceGroups//x"), "its id names no resource group"},
      {"renamed", 200, Machine("re/named"), "its name cannot be part of a path"},
      {"diskless", 200, "{\"name\":\"diskless\"}", "has neither a VHD address nor a managed-disk id"}};
  std::string list = "{\"value\":[{\"name\":\"first\"}";
  for (const Row& row : rows) {
    Serve(std::string("/virtualMachines/") + row.name + "\\?", row.body, row.http_status);
    list += std::string(",{\"name\":\"") + row.name + "\"}";
  }
  Serve("/virtualMachines\\?", list + ",{\"id\":\"/nameless\"},{\"name\":7},null,{\"name\":\"last\"}]}");
  Serve("/virtualMachines/first\\?", Machine("first"));
  Serve("/virtualMachines/last\\?", Machine("", "/subscriptions/SUB/resourceGroups/RG/last/"));
  Serve("^/nics/", "{}", 403);
  EXPECT_EQ(Build(Env()), "rg: first last; ") << "an interface that cannot be read leaves its machine in";
  EXPECT_EQ(status, kOk);
  for (const Row& row : rows) {
    EXPECT_TRUE(log.contains(4, std::string("VM /sub/rg/") + row.name + " is not protected: ")) << row.name;
    EXPECT_TRUE(log.contains(4, row.reason)) << row.name;
  }
  EXPECT_TRUE(log.contains(4, "VM /nameless is not protected: it is listed without a name"));
  EXPECT_TRUE(log.contains(4, "Failed to fetch the network properties for vm last"));
}

TEST_F(SelectionTest, ANameThatWouldChangeTheRequestIsNotSent) {
  const std::vector<std::string> names{"a/b", "a?b=c", "a#b", "..", ".", "a%2fb", "a\\\\b", "a\\nb"};
  std::string list = "{\"value\":[";
  for (const std::string& name : names) {
    list += "{\"name\":\"" + name + "\"},";
  }
  Serve("/virtualMachines\\?", list + "{\"name\":\"m\\u00e4 1&2\"}]}");
  Serve("/virtualMachines/m%C3%A4%201&2\\?api", Machine("M\xc3\xa4 1&2"));
  Serve("^/nics/", "{}");
  EXPECT_EQ(Build(Env()), "rg: M\xc3\xa4 1&2; ") << "names compare without case";
  EXPECT_EQ(ManagementRequests().size(), 3U);
  for (const char* name : {"a/b", "a?b=c", "a#b", "..", ".", "a%2fb", "a\\b"}) {
    EXPECT_TRUE(log.contains(4, std::string("VM /sub/rg/") + name + " is not protected: its path cannot be part"));
  }
  EXPECT_EQ(Build(Env("../x")), "../x:; ");
  EXPECT_EQ(status, kInvalidArgument);
  vm_env_t env = Env("");
  env.m_subscription_id = "s?x";
  EXPECT_EQ(Build(env), "");
  EXPECT_EQ(status, kInvalidArgument);
  EXPECT_EQ(ManagementRequests().size(), 3U);
}

TEST_F(SelectionTest, LongNamesAreSentWhole) {
  const std::string group(300, 'g');
  const std::string name(900, 'n');
  Serve("/resourcegroups/" + group + "/providers/.*/" + name + "\\?api-version=2017-12-01&\\$expand=instanceView$",
        Machine(name, "/subscriptions/sub/resourceGroups/" + group + "/" + name));
  Serve("^/nics/", "{}");
  EXPECT_EQ(Build(Env(group, name)), group + ": " + name + "; ");
}

TEST_F(SelectionTest, ThePowerStateFilter) {
  Serve("/virtualMachines/on\\?", Machine("on"));
  Serve("/virtualMachines/vm-state-mod\\?", WithId(ReadData("vm-unmanaged-linux-deallocated.json"), "vm-state-mod"));
  Serve("/virtualMachines\\?", R"({"value":[{"name":"on"},{"name":"vm-state-mod"}]})");
  Serve("^/(nics|subscriptions/.*/networkInterfaces)/", "{}");
  vm_env_t env = Env();
  env.m_vm_state_filter = "RUNNING";
  EXPECT_EQ(Build(env), "rg: on; ");
  EXPECT_TRUE(
      log.contains(3, "VM /sub/rg/vm-state-mod is not protected: its power state is \"deallocated\", not \"RUNNING\""));
  EXPECT_TRUE(log.contains(3, "Power state = vm-state-mod for VM RUNNING is doesn't satisfy vm_state filter"));
  EXPECT_FALSE(log.contains(4, "is not protected"));
  env.m_vm_name = "vm-state-mod";
  EXPECT_EQ(Build(env), "rg:; ");
  EXPECT_EQ(status, kOk);
  azurevm direct(rest, env);
  EXPECT_EQ(direct.GetVmDetails(), kInvalidArgument);
  env.m_vm_state_filter.clear();
  EXPECT_EQ(Build(env), "rg: vm-state-mod; ");
}

TEST_F(SelectionTest, FailuresOfListsAreReturned) {
  struct Row {
    int http_status;
    const char* body;
    Status expected;
  };
  for (const Row& row : std::vector<Row>{{403, "{}", 6646}, {404, "", 6630}, {200, "[", 5}}) {
    ServeOnce("/virtualMachines\\?", row.body, row.http_status);
    EXPECT_EQ(Build(Env()), "rg:; ");
    EXPECT_EQ(status, row.expected);
    EXPECT_TRUE(log.contains(4, "Failed to fetch all VMs in RG rg. retval"));
    ServeOnce("/resourcegroups/\\?api-version=2018-09-01$", row.body, row.http_status);
    EXPECT_EQ(Build(Env("")), "");
    EXPECT_EQ(status, row.expected);
  }
  azurevm nothing(rest, Env(""));
  EXPECT_EQ(nothing.GetALLVMDetails(), kInvalidArgument);
}

TEST_F(SelectionTest, ASubscriptionIsReadGroupByGroup) {
  Serve("/subscriptions/sub/resourcegroups/\\?", R"({"value":[{"name":"a"},{"name":"denied"},{"id":1},{"name":"b/c"},
      {"name":"d"}],"nextLink":"https://next","count":3})");
  Serve("/resourcegroups/a/providers/Microsoft.Compute/virtualMachines\\?", R"({"value":[{"name":"m"}]})");
  Serve("/resourcegroups/denied/", "{}", 403);
  Serve("/resourcegroups/d/providers/Microsoft.Compute/virtualMachines\\?", R"({"value":[]})");
  Serve("/virtualMachines/m\\?", Machine("m", "/subscriptions/sub/resourceGroups/A/m"));
  Serve("^/nics/", "{}");
  EXPECT_EQ(Build(Env("")), "a: m; denied:; b/c:; d:; ");
  EXPECT_EQ(status, kOk);
  EXPECT_TRUE(log.contains(4, "Failed to fetch all VMs in RG denied. retval 6646"));
  EXPECT_TRUE(log.contains(4, "Next Page Exists at https://next"));
  EXPECT_TRUE(log.contains(1, "count = 3"));
}

TEST_F(SelectionTest, RealListsOfGroups) {
  Serve("/virtualMachines\\?", R"({"value":[]})");
  for (const char* file : {"resource-groups-list.json", "resource-groups-page-with-nextlink.json"}) {
    ServeOnce("/resourcegroups/\\?", ReadData(file));
    EXPECT_NE(Build(Env("")).find(';'), std::string::npos) << file;
    EXPECT_EQ(status, kOk);
  }
  EXPECT_EQ(Targets("/virtualMachines?").size(), 7U) << "five groups and two";
}

TEST_F(SelectionTest, WithoutATokenNothingIsLeftOutSilently) {
  transport_test::ServerSetup setup = AadSetup();
  setup.credentials["ClientSecret"] = "wrong";
  ASSERT_EQ(Open(setup), kOk);
  for (const vm_env_t& env : {Env("rg", "m"), Env("rg"), Env("")}) {
    Build(env);
    EXPECT_EQ(status, kNoToken);
  }
  for (const test_support::LogLine& line : log.lines()) {
    EXPECT_EQ(line.text.find("\"wrong\""), std::string::npos);
  }
}

TEST(SavedResourcesTest, FillARecordFromTheMachineAmongThem) {
  const test_support::FreshState fresh;
  const std::string machine = ReadData(kRunning);
  const auto document = [&](const std::string& type, const std::string& configuration) {
    return R"({"resources":[{"type":"other","configuration":5},{"type":")" + type + R"(","configuration":)" +
           configuration + "}]}";
  };
  vm_details_t vm;
  EXPECT_EQ(azurevm::ParseResources(document("Microsoft.Compute/virtualMachines", machine), vm), kOk);
  EXPECT_EQ(vm.m_name, "vm-state-mod");
  for (const auto& [text, expected] : std::vector<std::pair<std::string, Status>>{
           {"{", kBadJson},
           {"{}", kBadJson},
           {R"({"resources":{}})", kBadJson},
           {document("Microsoft.Compute/virtualMachines", "null"), kConfigurationInvalid},
           {document("microsoft.compute/virtualmachines", "null"), kOk}}) {
    vm_details_t other;
    EXPECT_EQ(azurevm::ParseResources(text, other), expected) << text;
  }
}

}  // namespace
}  // namespace model_test
