// Storage accounts and their keys.
#include "src/model/azurestack_storagekeys.h"
#include "tests/model/model_fixture.h"

namespace model_test {
namespace {

using namespace azurestackpi;

class StorageAccountsTest : public ModelTest {
 protected:
  // An instance that sees these subscriptions.
  azurestack_storagekeys& Create(const std::string& subscriptions) {
    ServeOnce("^/subscriptions\\?", subscriptions);
    EXPECT_EQ(azurestack_storagekeys::createInstance(server), kOk);
    return *azurestack_storagekeys::getInstance();
  }

  azurestack_storagekeys& CreateWithAccounts(const std::string& accounts) {
    azurestack_storagekeys& keys = Create(R"({"value":[{"id":"/subscriptions/one"}]})");
    Serve("/subscriptions/one/providers/Microsoft.Storage/storageAccounts/\\?api-version=2017-10-01$", accounts);
    return keys;
  }

  static std::string Account(const std::string& name, const std::string& subscription = "one") {
    return R"({"id":"/subscriptions/)" + subscription + "/resourcegroups/rg-" + name +
           "/providers/Microsoft.Storage/storageaccounts/" + name + "\"}";
  }
};

TEST_F(StorageAccountsTest, RealSubscriptions) {
  struct Row {
    const char* file;
    std::vector<std::string> expected;
  };
  for (const Row& row :
       std::vector<Row>{{"subscriptions-azurestack-one.json", {"4caa8431-21b4-4e0b-bca0-1542a5f11e23"}},
                        {"subscriptions-one-without-tenant.json", {"00000000-0000-0000-0000-000000000000"}},
                        {"subscriptions-two-with-nextlink.json",
                         {"291bba3f-e0a5-47bc-a099-3bdcb2a50a05", "72ac930a-f34e-42d8-b06d-dc2a9e12ed71"}}}) {
    const azurestack_storagekeys& keys = Create(ReadData(row.file));
    EXPECT_EQ(keys.subscriptions(), row.expected) << row.file;
    EXPECT_TRUE(keys.check_subid_present(row.expected.back()));
    EXPECT_FALSE(keys.check_subid_present("other"));
    azurestack_storagekeys::destroyInstance();
  }
  EXPECT_TRUE(log.contains(4, "Next Page Exists at ..."));
}

TEST_F(StorageAccountsTest, RealAccounts) {
  struct Row {
    const char* file;
    std::vector<std::string> expected;
  };
  for (const Row& row :
       std::vector<Row>{{"storage-accounts-azurestack-tenant.json", {"cnvr102sa", "cnvr393sa", "rgmgddisks347"}},
                        {"storage-accounts-azurestack-admin.json", {}},
                        {"storage-accounts-list-definition.json", {}}}) {
    azurestack_storagekeys& keys = Create(R"({"value":[{"id":"/subscriptions/one"}]})");
    ServeOnce("/storageAccounts/", ReadData(row.file));
    std::vector<std::string> accounts;
    keys.getAllStorageAccountsForSubscription("EB56BC19-3DE4-4CB7-BAE9-E628711F6133", accounts);
    EXPECT_EQ(accounts, row.expected) << row.file;
    if (!accounts.empty()) {
      EXPECT_EQ(keys.FindAccount("CNVR393sa")->m_resource_group, "cnvr39");
      EXPECT_EQ(keys.EndpointSuffix("cnvr393sa"), "local.azurestack.external");
    }
    azurestack_storagekeys::destroyInstance();
  }
  EXPECT_TRUE(log.contains(4, "can't find key /resourcegroups/ in storage account id /subscriptions/27de630f"));
}

TEST_F(StorageAccountsTest, LookUpsOverOneListing) {
  azurestack_storagekeys& keys = CreateWithAccounts(
      R"({"value":[null,{"id":7},{"id":"/resourcegroups/x"},{"id":"/subscriptions/one/resourcegroups/r/"},)" +
      Account("mydata1", "two") + "," + Account("data") + "," + Account("data") + "]}");
  EXPECT_EQ(ManagementRequests().size(), 1U) << "accounts are listed when they are needed";
  std::string subscription = "old";
  std::string group = "old";
  keys.retrieve_subid_rg_for_sta("data", subscription, group);
  EXPECT_EQ(subscription + " " + group, "two rg-mydata1") << "the last name that contains it";
  keys.retrieve_subid_rg_for_sta("none", subscription, group);
  EXPECT_EQ(subscription + group, "");
  EXPECT_TRUE(keys.is_storageAccount_exists("data", "ONE"));
  EXPECT_TRUE(log.contains(3, "Storage Account :data is present in Subscription : ONE"));
  EXPECT_FALSE(keys.is_storageAccount_exists("data", "two"));
  EXPECT_TRUE(log.contains(3, "Storage Account :data is not present in Subscription : two"));
  EXPECT_FALSE(keys.check_sta_and_subid_map("dat", "one"));
  EXPECT_TRUE(log.contains(3, "Storage Account :dat is not present in Azurestack"));
  EXPECT_EQ(keys.EndpointSuffix("data"), "local.azurestack.localhost") << "the server's, without its port";
  EXPECT_EQ(Targets("/storageAccounts/").size(), 1U);
}

TEST_F(StorageAccountsTest, ASubscriptionThatCannotBeListedIsPassedOverAndAskedAgain) {
  azurestack_storagekeys& keys =
      Create(R"({"value":[{"id":"/subscriptions/denied"},{"id":"/subscriptions/a?b"},{"id":"/subscriptions/one"}]})");
  ServeOnce("/subscriptions/denied/", "{}", 403);
  ServeOnce("/subscriptions/one/", "{\"value\":[" + Account("data") + "]}");
  EXPECT_NE(keys.FindAccount("data"), nullptr);
  ServeOnce("/subscriptions/denied/", "{\"value\":[" + Account("late", "denied") + "]}");
  EXPECT_NE(keys.FindAccount("late"), nullptr);
  EXPECT_EQ(Targets("/storageAccounts/").size(), 3U);
  EXPECT_NE(keys.FindAccount("data"), nullptr);
  EXPECT_EQ(Targets("/storageAccounts/").size(), 3U);
}

TEST_F(StorageAccountsTest, KeysAreFetchedEachTimeAndNeverLogged) {
  azurestack_storagekeys& keys = CreateWithAccounts("{\"value\":[" + Account("data") + "]}");
  struct Row {
    int http_status;
    std::string body;
    Status expected;
    std::string key;
  };
  const std::string first = "nVF7aKIvr9mV/RM5lOD0sYoi8ThXTRHQP7o66hvUmjCDkPKR3qxPu/otJcNciz2aQdqPuzJH3ECG4TU2yZjQ7Q==";
  const std::vector<Row> rows{{200, ReadData("storage-listkeys-definition.json"), kOk, first},
                              {200, ReadData("storage-listkeys-first-empty.json"), kOk, "c2Vjb25kLWtleS1zYW1wbGU="},
                              {200, R"({"keys":[null,{"value":7},{"value":""}]})", kParameterNotFound, ""},
                              {200, R"({"keys":"all"})", kParameterNotFound, ""},
                              {200, "x", kBadJson, ""},
                              {403, "{}", kCannotCommunicate, ""}};
  for (const Row& row : rows) {
    ServeOnce(
        "^/subscriptions/one/resourceGroups/rg-data/providers/Microsoft.Storage/storageAccounts/data/"
        "listkeys\\?api-version=2017-10-01$",
        row.body, row.http_status);
    std::string key = "old";
    EXPECT_EQ(keys.getStorageKey("data", key), row.expected) << row.body;
    EXPECT_EQ(key, row.key);
    EXPECT_TRUE(row.key.empty() || log.text().find(row.key) == std::string::npos) << "a key in the log";
  }
  EXPECT_EQ(ManagementRequests().back().method, "POST");
  EXPECT_EQ(ManagementRequests().back().body, "{}");
  EXPECT_TRUE(log.contains(3, "Parsed storage account key : ****** "));
  std::string key;
  EXPECT_EQ(keys.getStorageKey("unknown", key), kParameterNotFound);
}

TEST_F(StorageAccountsTest, KeysOfTheCredentialsStore) {
  transport_test::ServerSetup setup = AadSetup();
  setup.config["FETCH_STORAGE_KEYS"] = "false";
  setup.credentials["data"] = "store key of data";
  ASSERT_EQ(Open(setup), kOk);
  azurestack_storagekeys& keys = Create(R"({"value":[{"id":"/subscriptions/one"}]})");
  std::string key;
  EXPECT_EQ(keys.getStorageKey("data", key), kOk);
  EXPECT_EQ(key, "store key of data");
  EXPECT_EQ(keys.getStorageKey("other", key), kParameterNotFound);
  EXPECT_EQ(key, "");
  EXPECT_TRUE(log.contains(4,
                           "return status 6661 : Unable to find the configuration parameter. for given Storage "
                           "account other"));
  EXPECT_EQ(ManagementRequests().size(), 1U) << "no request but for the subscriptions";
  EXPECT_EQ(log.text().find("store key of data"), std::string::npos);
}

}  // namespace
}  // namespace model_test
