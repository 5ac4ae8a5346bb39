// What the simulator answers for resources like those that real answers were recorded of, against these answers.
#include <gmock/gmock.h>

#include <fstream>

#include "simulator_fixture.h"

namespace sim_test {
namespace {

using Json = nlohmann::ordered_json;

Json recorded(const std::string& name) { return Json::parse(std::ifstream(ARM_DATA "/" + name + ".json")); }

sim::Options recorded_world() {
  sim::Options options;
  options.world = sim::load_world(SIM_TESTS "/recorded_world.json");
  return options;
}

class RecordedAnswersTest : public SimulatorTest {
 protected:
  RecordedAnswersTest() : SimulatorTest(recorded_world()) {}

  Json get(const std::string& path) {
    const Answer answer = client.get(management(path), {token});
    EXPECT_EQ(answer.status, 200) << path << " " << answer.body;
    return Json::parse(answer.body, nullptr, false);
  }

  const std::string token = bearer();
};

enum class Order { same, any };

struct Case {
  std::string recording;
  std::string path;                 // of the request, after "/subscriptions/"
  std::vector<std::string> differ;  // JSON pointers to what may differ or be absent on either side
  Order order = Order::same;        // of the members: other releases answer in another one
  std::string part = {};            // JSON pointer to the part of the recording that is compared
  std::string answered_part = {};   // and to that of the answer
};

void erase(Json& json, const std::string& pointer) {
  const Json::json_pointer place(pointer);
  if (!json.contains(place)) return;
  Json& parent = json.at(place.parent_pointer());
  parent.is_array() ? parent.erase(std::stoul(place.back())) : void(parent.erase(place.back()));
}

/// One text for equal values.
std::string compared(Json json, const Case& test, const std::string& part) {
  json = Json(json.at(Json::json_pointer(part)));
  for (const std::string& pointer : test.differ) erase(json, pointer);
  return test.order == Order::same ? json.dump(2) : nlohmann::json(json).dump(2);
}

TEST_F(RecordedAnswersTest, AreGivenMemberByMember) {
  const std::string zero = "00000000-0000-0000-0000-000000000000/resourceGroups/";
  const std::string stack = "eb56bc19-3de4-4cb7-bae9-e628711f6133";
  const auto machine = [&zero](const std::string& group, const std::string& name, const char* expand) {
    return zero + group + "/providers/Microsoft.Compute/virtualMachines/" + name + "?api-version=2017-12-01" + expand;
  };
  const auto network = [&zero](const std::string& path) { return zero + path + "?api-version=2017-10-01"; };
  const std::string nics = "/providers/Microsoft.Network/networkInterfaces/";
  constexpr const char* expand = "&$expand=instanceView";
  // Times, and what tells one version of a resource from the next.
  const std::vector<std::string> nic_differs = {"/etag",
                                                "/tags",
                                                "/properties/resourceGuid",
                                                "/properties/macAddress",
                                                "/properties/enableAcceleratedNetworking",
                                                "/properties/dnsSettings/internalDomainNameSuffix",
                                                "/properties/ipConfigurations/0/etag",
                                                "/properties/ipConfigurations/0/type",
                                                "/properties/ipConfigurations/0/name",
                                                "/properties/ipConfigurations/0/id",
                                                "/properties/ipConfigurations/0/properties/isInUseWithService"};
  auto unlike_its_machine = nic_differs;  // recorded before the machine was given another primary interface
  unlike_its_machine.emplace_back("/properties/primary");
  const std::vector<Case> cases = {
      {"vm-managed-linux-2-data-disks-lun-gap-running",
       machine("cli-test-disk000001", "vm-diskattach-test", expand),
       {"/instanceView/vmAgent/extensionHandlers", "/instanceView/vmAgent/statuses/0/time",
        "/instanceView/disks/0/statuses/0/time", "/instanceView/disks/1/statuses/0/time",
        "/instanceView/disks/2/statuses/0/time", "/instanceView/statuses/0/time"},
       Order::same,
       "/properties",
       "/properties"},
      {"vm-managed-linux-2-nics-deallocated",
       machine("cli_test_multi_nic_vm000001", "multinicvm1", ""),
       {"/properties/osProfile/linuxConfiguration"}},
      {"vm-unmanaged-linux-deallocated",
       machine("cli_test_vm_state_mod000001", "vm-state-mod", expand),
       {"/resources", "/properties/instanceView/extensions", "/properties/instanceView/vmAgent",
        "/properties/instanceView/disks/0/statuses/0/time", "/properties/instanceView/statuses/0/time"}},
      {"vm-unmanaged-linux-boot-diagnostics", machine("cli_test_vm_diagnostics000001", "myvm", ""), {"/plan"}},
      {"vm-managed-linux-plan-data-disk-running",
       machine("cli_test_vm_diagnostics000001", "myvm", ""),
       {},
       Order::same,
       "/plan",
       "/plan"},
      {"vm-managed-windows-secrets-running",
       machine("clitest.rg000001", "vm-name", ""),
       {"/properties/osProfile/secrets", "/properties/instanceView"}},
      {"vm-managed-linux-attached-2-data-disks",
       machine("clitest.rg000001", "vm2", ""),
       {"/properties/instanceView"},
       Order::any},
      {"vm-list-one", machine("cli_test_vm_list_ip000001", "", ""), {}},
      {"vmsizes",
       "00000000-0000-0000-0000-000000000000/providers/Microsoft.Compute/locations/LOCAL/"
       "vmSizes?api-version=2017-12-01",
       {},
       Order::same,
       "/value/1",
       "/value/1"},
      {"nic-deallocated-no-mac", network("cli_test_multi_nic_vm000001" + nics + "nic2"), unlike_its_machine},
      {"nic-nsg-public-ip-running", network("clitest.rg000001" + nics + "vm-nameVMNic"), nic_differs},
      {"nic-location-last", network("clitest.rg000001" + nics + "vm2VMNic"), nic_differs, Order::any},
      {"subnets-two",
       network("test_mgmt_network_test_subnetsc2cc0c8f/providers/Microsoft.Network/virtualNetworks/pysubnetc2cc0c8f/"
               "subnets"),
       {"/value/0/etag", "/value/1/etag", "/value/0/properties/delegations", "/value/1/properties/delegations"}},
      {"disk-unattached",
       zero + "clitest.rg000001/providers/Microsoft.Compute/disks/spare?api-version=2017-03-30",
       {"/name", "/id", "/properties/timeCreated", "/properties/creationData"},
       Order::any},
      {"storage-accounts-azurestack-tenant",
       stack + "/providers/Microsoft.Storage/storageAccounts/?api-version=2017-10-01",
       {"/properties/creationTime"},
       Order::same,
       "/value/0",
       "/value/0"},
  };
  for (const Case& test : cases) {
    // References back to a machine come with the group in capitals.
    Json expected = recorded(test.recording);
    if (const Json::json_pointer back("/properties/virtualMachine/id"); expected.contains(back)) {
      std::string id = expected.at(back).get<std::string>();
      const std::size_t group = id.find("/cli") + 1;
      const std::size_t size = id.find("/providers") - group;
      expected.at(back) = id.replace(group, size, sim::upper_case(id.substr(group, size)));
    }
    EXPECT_EQ(compared(get("/subscriptions/" + test.path), test, test.answered_part),
              compared(expected, test, test.part))
        << test.recording;
  }
}

TEST_F(RecordedAnswersTest, TellHowAnAzureStackSpellsIds) {
  const std::string group = "/subscriptions/00000000-0000-0000-0000-000000000000/resourceGroups/cli-test-disk000001";
  const Json disk = get(group + "/providers/Microsoft.Compute/disks/D1?api-version=2018-04-01");
  EXPECT_EQ(disk.at("id"),
            "/subscriptions/00000000-0000-0000-0000-000000000000/resourceGroups/CLI-TEST-DISK000001/"
            "providers/Microsoft.Compute/Disks/d1");
  EXPECT_EQ(disk.at("managedBy"),
            "/subscriptions/00000000-0000-0000-0000-000000000000/resourceGroups/CLI-TEST-DISK000001/"
            "providers/Microsoft.Compute/virtualMachines/vm-diskattach-test");
  EXPECT_EQ(disk.at("properties").at("diskState"), "Attached");
}

TEST_F(RecordedAnswersTest, OnlyInterfacesOfMachinesOnAHostHaveAMacAddress) {
  const auto has_mac = [this](const std::string& nic) {
    return get("/subscriptions/00000000-0000-0000-0000-000000000000/resourceGroups/" + nic + "?api-version=2017-10-01")
        .at("properties")
        .contains("macAddress");
  };
  EXPECT_TRUE(has_mac("clitest.rg000001/providers/Microsoft.Network/networkInterfaces/vm-nameVMNic"));
  EXPECT_FALSE(has_mac("cli_test_multi_nic_vm000001/providers/Microsoft.Network/networkInterfaces/nic2"));
}

TEST_F(RecordedAnswersTest, StorageKeysAreGivenInTheAccountsGroupOnly) {
  const std::string keys = "/providers/Microsoft.Storage/storageAccounts/CNVR393SA/listKeys?api-version=2017-10-01";
  const std::string stack = "/subscriptions/eb56bc19-3de4-4cb7-bae9-e628711f6133/resourceGroups/";
  const Answer answer = client.send("POST", management(stack + "cnvr39" + keys), {token}, "{}");
  EXPECT_EQ(answer.body, R"({"keys":[{"keyName":"key1","permissions":"Full","value":""},)"
                         R"({"keyName":"key2","permissions":"Full","value":"second"}]})");
  EXPECT_EQ(client.send("POST", management(stack + "contoso-rg-1" + keys), {token}, "{}").error(), "ResourceNotFound");
  EXPECT_EQ(client.get(management(stack + "cnvr39" + keys), {token}).status, 404);
}

TEST_F(RecordedAnswersTest, AreFramedAsTheirProvidersDo) {
  const std::string group = "/subscriptions/00000000-0000-0000-0000-000000000000/resourceGroups/clitest.rg000001";
  const std::string machine =
      client.get(management(group + "/providers/Microsoft.Compute/virtualMachines/vm2?api-version=2017-12-01"), {token})
          .body;
  EXPECT_THAT(machine, testing::StartsWith("{\r\n  \"properties\": {\r\n    \"vmId\": \""));
  EXPECT_THAT(machine, testing::HasSubstr("\r\n    \"networkProfile\": {\"networkInterfaces\":[{\"id\":\""));
  EXPECT_THAT(machine, testing::EndsWith("\"name\": \"vm2\"\r\n}"));
  EXPECT_THAT(client.get(management("/subscriptions?api-version=2018-05-01"), {token}).body,
              testing::Not(testing::HasSubstr("\n")));
}

}  // namespace
}  // namespace sim_test
