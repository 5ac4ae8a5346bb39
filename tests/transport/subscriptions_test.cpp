// The first real request: the subscriptions that the credentials can see, through the by-name property query.
#include "tests/transport/open_server.h"

#include "src/model/azurestack_storagekeys.h"

namespace transport_test {
namespace {

using azurestackpi::azurestack_storagekeys;
using azurestackpi::kOk;
using azurestackpi::Status;

class SubscriptionsTest : public OpenServer {
 protected:
  SubscriptionsTest() { EXPECT_EQ(Open(AadSetup()), kOk); }

  Status Query(const char* path = "/") { return table->get_object_prop_byname(server, path, &info); }

  aapi_object_info_v1_t info{};
};

TEST_F(SubscriptionsTest, AreListedOnceAndKeptUntilTheServerIsClosed) {
  EXPECT_EQ(Query(), kOk);
  EXPECT_EQ(Query("/sub/group"), kOk);
  EXPECT_EQ(ManagementRequests().size(), 1U);
  EXPECT_EQ(ManagementRequests().at(0).target, "/subscriptions?api-version=2018-05-01");
  ASSERT_NE(azurestack_storagekeys::getInstance(), nullptr);
  EXPECT_EQ(azurestack_storagekeys::getInstance()->subscriptions(),
            (std::vector<std::string>{world.subscriptions[0].id, world.subscriptions[1].id}));
  EXPECT_EQ(info.object_type, AAPI_OBJECT_DIRECTORY);
  EXPECT_EQ(std::string(info.server_name), simulator.management_host());
  EXPECT_EQ(std::string(info.object_name), "/sub/group");
  table->close_server(server);
  server = nullptr;
  EXPECT_EQ(azurestack_storagekeys::getInstance(), nullptr);
}

TEST_F(SubscriptionsTest, FailuresKeepNoListAndSayWhy) {
  struct Case {
    int http_status;
    const char* body;
    Status expected;
    const char* line;
  };
  const std::vector<Case> cases{{200, "not json", 5, "error while parsing json: on line 1"},
                                {200, "{\"value\":[]}", 6601, "Failed to fetch any subscription "},
                                {200, "{\"value\":null}", 6601, "Failed to fetch any subscription "},
                                {200, "{\"value\":[{\"id\":null},{},5,{\"id\":\"/subs/x\"},{\"id\":7}]}", 6601,
                                 "Failed to parse subscription /subs/x"},
                                {401, "", 6629, "Error calling AzureStack API (storage_account). AAPI_Errno = 6629"},
                                {403, "{\"error\":{\"code\":\"AuthorizationFailed\"}}", 6646, "AuthorizationFailed"},
                                {404, "", 6630, "AAPI_Errno = 6630"}};
  for (const Case& c : cases) {
    log.clear();
    Answer("^/subscriptions", c.http_status, {}, c.body);
    EXPECT_EQ(Query(), c.expected) << c.body;
    EXPECT_TRUE(log.contains(4, c.line)) << log.text();
    EXPECT_TRUE(log.contains(4, "Failed to generate subscription list"));
    EXPECT_EQ(azurestack_storagekeys::getInstance(), nullptr);
  }
  EXPECT_EQ(Query(), kOk) << "a later query lists anew";
}

TEST_F(SubscriptionsTest, OneStrangeEntryDoesNotHideTheOthers) {
  Answer("^/subscriptions", 200, {},
         "{\"nextLink\":\"...\",\"value\":[{\"id\":5},{\"id\":\"/subscriptions/a\",\"id2\":null}]}");
  EXPECT_EQ(Query(), kOk);
  EXPECT_EQ(azurestack_storagekeys::getInstance()->subscriptions(), std::vector<std::string>{"a"});
}

TEST_F(SubscriptionsTest, AServerNameThatNoHostCanHaveIsRefused) {
  for (const std::string& name : {std::string(), "management." + std::string(120, 'r') + ".azurestack.localhost"}) {
    ServerSetup setup = AadSetup();
    setup.server_name = "azurestack:" + name;
    EXPECT_EQ(Open(setup), name.empty() ? 6601U : kOk);
    EXPECT_EQ(Query(), 6601U);
    EXPECT_TRUE(simulator.requests().empty());
  }
}

TEST_F(SubscriptionsTest, ASecondOpenServerIsAskedItself) {
  ASSERT_EQ(Query(), kOk);
  const sim::Simulator other;
  aapi_server_t* const first = server;
  server = nullptr;
  ServerSetup setup = AadSetup();
  setup.server_name = "azurestack:" + other.management_host();
  setup.config["CA_FILE_PATH"] = other.ca_file().string();
  setup.config["AAD_LOGIN_ENDPOINT"] = other.aad_host();
  ASSERT_EQ(Open(setup), kOk);
  EXPECT_EQ(Query(), kOk);
  EXPECT_EQ(other.requests().size(), 2U);
  table->close_server(first);
}

}  // namespace
}  // namespace transport_test
