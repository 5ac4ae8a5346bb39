// Security groups, virtual networks and subnets.
#include "src/model/azurestack_network.h"
#include "tests/model/model_fixture.h"

namespace model_test {
namespace {

using namespace azurestackpi;

const std::string kSubscription = "7f3c1f0e-52c4-4f6e-9c0a-3d6f5b1e2a90";

class NetworkTest : public ModelTest {
 protected:
  // The last parts of the ids that a list gave, or its status.
  static std::string Names(Status status, const std::vector<std::string>& ids) {
    std::string text = status == kOk ? "" : std::to_string(status);
    for (const std::string& id : ids) {
      text += id.substr(id.rfind('/') + 1) + " ";
    }
    return text;
  }

  std::string Nsgs(const std::string& subscription, const std::string& group) {
    std::vector<std::string> ids;
    const Status status =
        group.empty() ? network.listNsgs(subscription, ids) : network.listNsgs(subscription, group, ids);
    return Names(status, ids);
  }

  std::string Vnets(const std::string& subscription, const std::string& group) {
    std::vector<std::string> ids;
    const Status status =
        group.empty() ? network.listVnets(subscription, ids) : network.listVnets(subscription, group, ids);
    return Names(status, ids);
  }

  azurestack_network network{rest};
};

TEST_F(NetworkTest, TheFirstOfEachGroupIsKeptFromOneListing) {
  Serve("/subscriptions/" + kSubscription +
            "/resources\\?api-version=2018-09-01&\\$filter=\\(ResourceType%20eq%20'Microsoft.Network/"
            "networkSecurityGroups'%20or%20ResourceType%20eq%20'Microsoft.Network/virtualNetworks'\\)$",
        ReadData("resources-two-nsg-in-one-group.json"));
  EXPECT_EQ(Nsgs(kSubscription, "rg-a"), "nsg-first ");
  EXPECT_EQ(Nsgs(kSubscription, "RG-A"), "nsg-first ");
  EXPECT_EQ(Nsgs(kSubscription, "rg-b"), "6601");
  EXPECT_EQ(Nsgs(kSubscription, ""), "nsg-first ");
  EXPECT_EQ(Vnets(kSubscription, ""), "vnet-a vnet-b ");
  EXPECT_EQ(Vnets(kSubscription, "rg-b"), "vnet-b ");
  EXPECT_EQ(ManagementRequests().size(), 1U);
}

TEST_F(NetworkTest, WhatIsMissingIsRememberedAndAFailureIsNot) {
  ServeOnce("/subscriptions/s/resources", "{}", 403);
  EXPECT_EQ(Nsgs("s", ""), "6601");
  ServeOnce("/subscriptions/s/resources", ReadData("resources-filter-one-availability-set.json"));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Nsgs("s", "") + Vnets("s", "") + Vnets("s", "rg") + Nsgs("s", "RESOURCE_NOT_FOUND"), "6601660166016601");
  }
  EXPECT_EQ(ManagementRequests().size(), 2U);
  EXPECT_TRUE(log.contains(1, "Not maching resource type availabilitySets"));
  EXPECT_EQ(Nsgs("s?x", ""), "6601");
  EXPECT_EQ(ManagementRequests().size(), 2U);
}

TEST_F(NetworkTest, OneKindAloneLeavesTheOtherMissing) {
  const std::string subscription(36, '0');
  ServeOnce("/resources", R"({"nextLink":null,"value":[{"id":7},null,{"id":"/subscriptions/s/resourceGroups/R"},
      {"id":"/subscriptions/S/resourceGroups/R/providers/Microsoft.Network/virtualNetworks/V"},
      {"id":"/subscriptions/S/resourceGroups/R/providers/Microsoft.Network/virtualNetworks/V/subnets/N"}]})");
  EXPECT_EQ(Vnets("s", "r") + Nsgs("s", ""), "V 6601");
  EXPECT_TRUE(log.contains(4, "Failed to parse resource Id /subscriptions/s/resourceGroups/R"));
  ServeOnce("/resources", ReadData("resources-nsg-vnet.json"));
  EXPECT_EQ(Vnets("00000000-0000-0000-0000-000000000000", "") + Nsgs("00000000-0000-0000-0000-000000000000", ""),
            "contoso-rg-1-vnet myvnet vm1-nsg ");
}

TEST_F(NetworkTest, TheSubnetOfAVirtualNetwork) {
  struct Row {
    std::string body;
    int http_status;
    Status expected;
    std::string subnet;
  };
  const std::vector<Row> rows{{ReadData("subnets-default-in-the-middle.json"), 200, kOk, "default"},
                              {ReadData("subnets-default-only.json"), 200, kOk, "default"},
                              {R"({"value":[{"name":"a"},{"name":"b"},{"name":null},{}]})", 200, kOk, "b"},
                              {R"({"value":[]})", 200, kResourceNotFound, ""},
                              {"{", 200, kBadJson, ""},
                              {"{}", 404, kServerUnavailable, ""}};
  int number = 0;
  for (const Row& row : rows) {
    const std::string id = "/s/virtualNetworks/V" + std::to_string(++number);
    ServeOnce("^" + id + "/subnets\\?api-version=2017-10-01$", row.body, row.http_status);
    std::string subnet;
    EXPECT_EQ(network.getSubnet(id, subnet), row.expected) << row.body;
    EXPECT_EQ(subnet, row.subnet);
  }
  ServeOnce("/V/subnets", ReadData("subnets-two.json"));
  std::string subnet;
  EXPECT_EQ(network.getSubnet("/s/virtualNetworks/V", subnet), kOk);
  EXPECT_EQ(network.getSubnet("/s/virtualNetworks/V", subnet), kOk);
  EXPECT_EQ(Targets("/V/subnets").size(), 1U);
  EXPECT_EQ(network.getSubnet("/s/../V", subnet), kInvalidArgument);
}

TEST_F(NetworkTest, TheInstanceLivesWithARestoreSession) {
  EXPECT_EQ(azurestack_network::getInstance(), nullptr) << "a backup session";
  log.session().session_kind = AAPI_SESSION_RESTORE;
  const transport_test::ServerSetup setup = AadSetup();
  const aapi_credentials_v1_t user{};
  aapi_server_t* restore = nullptr;
  ASSERT_EQ(table->open_server(&log.session(), setup.server_name.c_str(), &user, &restore), kOk);
  EXPECT_NE(azurestack_network::getInstance(), nullptr);
  EXPECT_TRUE(simulator.requests().empty());
  table->close_server(restore);
  EXPECT_EQ(azurestack_network::getInstance(), nullptr);
}

}  // namespace
}  // namespace model_test
