// Snapshots of managed disks: made, watched, exported, found and deleted through Resource Manager.
#include "src/blob/managed_disk_snapshots.h"

#include <functional>

#include "src/blob/azurestack_md.h"
#include "src/blob/disk_snapshots.h"
#include "tests/transport/open_server.h"

namespace blob_test {
namespace {

using azurestackpi::azurestackMD;
using azurestackpi::kLongRequest;
using azurestackpi::kOk;
using azurestackpi::kShortRequest;
using azurestackpi::kSnapshotTag;
using azurestackpi::Status;
using Texts = std::vector<std::string>;

const std::string subscription = sim::demo_world().subscriptions.begin()->id;
const std::string list_path = "/subscriptions/" + subscription + "/providers/Microsoft.Compute/snapshots";
const std::string list_query = "?api-version=2017-03-30";
const std::string path = "/subscriptions/" + subscription +
                         "/resourcegroups/web-rg/providers/microsoft.compute/snapshots/vm1_OSDisk_9999_42_BDAZSNAP";

class ManagedDiskSnapshots : public transport_test::OpenServer {
 protected:
  ManagedDiskSnapshots() {
    transport_test::ServerSetup setup = AadSetup();
    setup.config["CURL_VERBOSE"] = "true";
    EXPECT_EQ(Open(setup), kOk);
    used = server;
    disk.m_vm_id = "vm1";
    disk.m_disk_kind = "OSDisk";
    disk.m_lun = "9999";
    disk.m_disk_subscription_id = subscription;
    disk.m_disk_resource_group = "web-rg";
    disk.m_storage_account_type = "Premium_LRS";
    disk.m_disk_id =
        "/subscriptions/" + subscription + "/resourceGroups/web-rg/providers/Microsoft.Compute/disks/web-01-os";
  }

  Status Create(std::string* async_url = nullptr, azurestackpi::EBlockType block_type = kLongRequest) {
    return CreateManagedDiskSnapshot(used, "42", kSnapshotTag, disk, async_url, block_type);
  }
  Status Export() { return ExportManagedDiskSnapshot(used, "42", kSnapshotTag, disk, address); }
  Status CancelExport() { return CancelExportManagedDiskSnapshot(used, "42", kSnapshotTag, disk); }
  Status Delete() { return DeleteManagedDiskSnapshot(used, "42", kSnapshotTag, disk); }
  Status Check() { return CheckifSnapshotComplete(used, disk); }
  Status List(const std::string& name = "") {
    return azurestackpi::GetALLManagedDiskSnapshots(used, subscription, name, ids);
  }

  /// The names of all that a listing finds.
  Texts Found(const std::string& name) {
    ids.clear();
    EXPECT_EQ(List(name), kOk);
    Texts names;
    for (const std::string& id : ids) {
      names.push_back(id.substr(id.rfind('/') + 1));
    }
    return names;
  }

  /// "METHOD TARGET BODY" of the requests so far, polls aside.
  Texts Requests() const {
    Texts found;
    for (const sim::RecordedRequest& request : ManagementRequests()) {
      if (request.target.find("perations/") == std::string::npos) {
        found.push_back(request.method + " " + request.target + " " + request.body);
      }
    }
    return found;
  }

  /// Answers the next matching request with an operation whose first poll gets this body.
  void AnswerByOperation(const std::string& target, const std::string& body) {
    Answer(target, 202, {{"Azure-AsyncOperation", "https://" + simulator.management_host() + "/operations/1"}});
    Answer("^/operations/1", 200, {}, body);
  }

  void AnswerPage(std::uint64_t n, const std::string& body) { Answer(list_path, 200, {}, body, n); }

  azurestackpi::vm_managed_disk_t disk;
  aapi_server_t* used = nullptr;
  std::string address;
  Texts ids;
};

bool HasHeader(const sim::RecordedRequest& request, const std::string& name, const std::string& value) {
  return std::find(request.headers.begin(), request.headers.end(), std::pair(name, value)) != request.headers.end();
}

TEST_F(ManagedDiskSnapshots, LiveFromCreationToDeletion) {
  std::string operation;
  ASSERT_EQ(Create(&operation), kOk);
  EXPECT_EQ(operation, "") << "it has been waited for";
  EXPECT_EQ(clock.pauses(), (std::vector<std::int64_t>{1, 1, 1}));
  EXPECT_EQ(Found(""), Texts{"vm1_OSDisk_9999_42_BDAZSNAP"});
  EXPECT_EQ(Found("42"), Texts{"vm1_OSDisk_9999_42_BDAZSNAP"});
  EXPECT_EQ(Found("2"), Texts{});
  ASSERT_EQ(Export(), kOk);
  EXPECT_EQ(Delete(), 6780U) << "it is in use";
  EXPECT_EQ(CancelExport(), kOk);
  EXPECT_EQ(Delete(), kOk);
  EXPECT_EQ(Found(""), Texts{});
  const std::string listed = "GET " + list_path + list_query + " ";
  EXPECT_EQ(
      Requests(),
      (Texts{"PUT " + path + list_query +
                 R"( {"location": "local", "tags": {}, "sku": {"name": "Premium_LRS"}, "properties": )"
                 R"({"creationData": {"createOption": "copy","sourceresourceid":")" +
                 disk.m_disk_id + R"("}}})",
             listed, listed, listed,
             "POST " + path + "/beginGetAccess" + list_query + R"( {"access": "Read", "durationInSeconds": 31536000})",
             "DELETE " + path + list_query + " ", "POST " + path + "/endGetAccess" + list_query + " ",
             "DELETE " + path + list_query + " ", listed}));
}

TEST_F(ManagedDiskSnapshots, ADiskWithoutATypeGetsStandardStorage) {
  disk.m_storage_account_type.clear();
  ASSERT_EQ(Create(), kOk);
  EXPECT_NE(Requests().at(0).find(R"("sku": {"name": "Standard_LRS"})"), std::string::npos);
  EXPECT_EQ(disk.m_storage_account_type, "Standard_LRS");
  EXPECT_TRUE(log.contains(3, "Using default Standard_LRS storage account type"));
}

TEST_F(ManagedDiskSnapshots, ValuesStayInsideTheirQuotes) {
  disk.m_disk_id = R"(x"},"evil":{")";
  Answer("BDAZSNAP", 200);
  ASSERT_EQ(Create(), kOk);
  EXPECT_NE(Requests().at(0).find(R"("sourceresourceid":"x\"},\"evil\":{\""}}})"), std::string::npos);
}

TEST_F(ManagedDiskSnapshots, MayBeWatchedInsteadOfWaitedFor) {
  ASSERT_EQ(Create(&disk.m_extra3, kShortRequest), kOk);
  EXPECT_TRUE(log.contains(1, "Initiate snapshot for " + disk.m_disk_id + " disk is complete"));
  EXPECT_EQ(clock.pauses(), std::vector<std::int64_t>{});
  EXPECT_EQ(Found(""), Texts{}) << "not complete yet";
  const std::string operation = disk.m_extra3;
  ASSERT_EQ(Check(), kOk);
  EXPECT_EQ(clock.pauses(), (std::vector<std::int64_t>{1, 1, 1}));
  EXPECT_EQ("https://" + simulator.management_host() + ManagementRequests().back().target, operation);
  EXPECT_TRUE(HasHeader(ManagementRequests().back(), "version", "4"));
  EXPECT_EQ(disk.m_extra3, "");
  EXPECT_EQ(Found("42").size(), 1U);
}

TEST_F(ManagedDiskSnapshots, AnOperationThatFailedKeepsItsAddress) {
  const std::string operation = "https://" + simulator.management_host() + "/operations/1?t=" + std::string(4096, 't');
  disk.m_extra3 = operation;
  Answer("^/operations/1", 200, {}, R"({"status":"Failed"})");
  EXPECT_EQ(Check(), azurestackpi::kAsyncFailed);
  EXPECT_EQ(disk.m_extra3, operation);
  EXPECT_TRUE(log.contains(4, "CheckifSnapshotComplete: Snapshot for managed disk failed. ret: 6786 "));
}

TEST_F(ManagedDiskSnapshots, AnAcceptedCreationMayNameNoOperation) {
  Answer("BDAZSNAP", 202);
  std::string operation = "before";
  EXPECT_EQ(Create(&operation, kShortRequest), kOk);
  EXPECT_EQ(operation, "before");
  EXPECT_EQ(Create(nullptr, kShortRequest), kOk);
}

TEST(ManagedDiskHeader, IsReadUpToItsCarriageReturn) {
  const std::vector<std::pair<const char*, const char*>> cases{
      {"HTTP/1.1 202 Accepted\r\nAzure-AsyncOperation: https://a/1?t=2\r\nDate: x\r\n\r\n", "https://a/1?t=2"},
      {"azure-asyncoperation:https://a/1\r\n", "https://a/1"},
      {"X-Azure-AsyncOperation: https://a/1\r\n", ""},
      {"Date: x\r\nAzure-AsyncOperation: https://a/1", ""},
      {"Azure-AsyncOperation: https://a/1\n", ""},
      {"Date: x\r\n", ""},
      {"", ""}};
  for (const auto& [header, value] : cases) {
    EXPECT_EQ(azurestackMD::GetTagValueFromResponseHeader(header, "Azure-AsyncOperation: "), value) << header;
  }
  EXPECT_EQ(azurestackMD::GetTagValueFromResponseHeader("Date: x\r\n", ""), "");
}

TEST(ManagedDiskAccess, IsTheStringInTheOperationsOutput) {
  const std::vector<std::pair<const char*, const char*>> cases{
      {R"({"status":"Succeeded","properties":{"output":{"accessSAS":"https://md/1?sr=b\u0026sig=x"}}})",
       "https://md/1?sr=b&sig=x"},
      {R"({"properties":{"output":{"accessSAS":""}}})", ""},
      {R"({"properties":{"output":{"accessSAS":null}}})", ""},
      {R"({"properties":{"output":{"accessSAS":{}}}})", ""},
      {R"({"properties":{"output":"accessSAS"}})", ""},
      {R"({"properties":[]})", ""},
      {R"({"accessSAS":"https://md/1"})", ""},
      {"[]", ""},
      {"null", ""},
      {"not json", ""},
      {"", ""}};
  for (const auto& [body, value] : cases) {
    EXPECT_EQ(azurestackMD::GetSASURIFromResponseBody(body, "accessSAS"), value) << body;
  }
}

TEST_F(ManagedDiskSnapshots, ALongAccessAddressArrivesWholeAndItsSignatureIsNotTold) {
  const std::string signature = "k3yOfAll%2FDisks%3D";
  const std::string expected = "https://md-1.blob.local/x/abcd?st=" + std::string(4096, 't') + "&sig=" + signature;
  AnswerByOperation("beginGetAccess",
                    R"({"status":"Succeeded","properties":{"output":{"accessSAS":")" + expected + R"("}}})");
  ASSERT_EQ(Export(), kOk);
  EXPECT_EQ(address, expected);
  EXPECT_TRUE(log.contains(3, "ExportManagedDiskSnapshot: SAS URI <https://md-1.blob.local/x/abcd?st=ttt"));
  EXPECT_TRUE(log.contains(3, "t&sig=******>"));

  AnswerByOperation("beginGetAccess",
                    R"({"status":"Succeeded","properties":{"accessSAS":"https://md\u0026sig=)" + signature + R"("}})");
  address = "before";
  EXPECT_EQ(Export(), 6777U);
  EXPECT_EQ(address, "before");
  EXPECT_TRUE(log.contains(4, "Failed to fetch accessSAS tag from http response <{\"status\":\"Succeeded\""));
  EXPECT_EQ(log.text().find(signature), std::string::npos) << "in traces neither";
}

TEST_F(ManagedDiskSnapshots, FailWithAStatusOfTheirOwn) {
  struct Case {
    std::function<Status()> call;
    Status status;
    std::string line;
  };
  const std::vector<Case> cases{{[this] { return Create(); }, 6658, "to create snapshot for"},
                                {[this] { return Create(&address, kShortRequest); }, 6658, "to create snapshot for"},
                                {[this] { return Export(); }, 6778, "to export snapshot 42 for"},
                                {[this] { return CancelExport(); }, 6779, "to cancel export snapshot 42 for"},
                                {[this] { return Delete(); }, 6780, "to delete snapshot 42 for"}};
  for (const Case& c : cases) {
    log.clear();
    Answer("BDAZSNAP", 409);
    EXPECT_EQ(c.call(), c.status);
    EXPECT_TRUE(log.contains(4, "Failed " + c.line + " " + disk.m_disk_id + " disk")) << c.line;
    EXPECT_TRUE(log.contains(4, " for managed disk failed. ret: " + std::to_string(c.status) + " "));
    simulator.add_fault({"", "BDAZSNAP", 1, 2, sim::ResetBeforeAnswer{}});
    EXPECT_EQ(c.call(), c.status) << c.line;
    if (&c != &cases[1]) {  // which does not wait for its operation
      AnswerByOperation("BDAZSNAP", R"({"status":"Failed","error":{"code":"x"}})");
      EXPECT_EQ(c.call(), c.status) << c.line;
    }
  }
}

TEST_F(ManagedDiskSnapshots, WhatIsGoneIsRevokedAndDeleted) {
  EXPECT_EQ(CancelExport(), kOk);
  EXPECT_EQ(Delete(), kOk);
  Answer("BDAZSNAP", 404);
  EXPECT_EQ(Delete(), kOk);
  EXPECT_EQ(Export(), 6778U);
}

TEST_F(ManagedDiskSnapshots, PathsAreMadeOfWholeNamesOnly) {
  for (const char* name : {"", "a/b", "..", "a?x=1", "a%2fb", "a#b"}) {
    disk.m_disk_resource_group = name;
    EXPECT_EQ(Create(), 6601U) << name;
    EXPECT_EQ(CancelExport(), 6601U) << name;
    EXPECT_EQ(azurestackpi::GetALLManagedDiskSnapshots(used, name, "", ids), 6601U) << name;
  }
  EXPECT_TRUE(log.contains(4, "failed to create rest api query :6601"));
  EXPECT_TRUE(log.contains(4, "GetALLMDSnapshots: Failed to create Rest Api query"));
  EXPECT_TRUE(ManagementRequests().empty());
  azurestackpi::azs_rest_server_s rest;
  EXPECT_EQ(InitRestServerHandle(used, rest), kOk);
  EXPECT_EQ(azurestackMD(rest).DeleteSnapshot(), 6601U) << "of no disk";
}

TEST_F(ManagedDiskSnapshots, NeedAServerWithEndpoints) {
  aapi_pgn_server_handle_s nameless;
  for (aapi_server_t* handle : {static_cast<aapi_server_t*>(&nameless), static_cast<aapi_server_t*>(nullptr)}) {
    used = handle;
    log.clear();
    for (const Status status : {Create(), Check(), Export(), CancelExport(), Delete(), List()}) {
      EXPECT_EQ(status, 6601U);
    }
    EXPECT_TRUE(log.contains(4, "Unable to initialize rest server handle for")) << log.text();
  }
}

TEST_F(ManagedDiskSnapshots, AreListedPageByPage) {
  const std::string host = "https://" + simulator.management_host() + ":443" + list_path;
  AnswerPage(1, R"({"value":[{"id":"/s/a_1_BDAZSNAP"}],"nextLink":")" + host + R"(?$skipToken=p%202&api-version=1"})");
  AnswerPage(2, R"({"nextLink":")" + host + R"(?api-version=1&%24skiptoken=p=3#end","value":[]})");
  AnswerPage(3, R"({"value":[{"id":"/s/c_1_BDAZSNAP"}, null, {"id":5}, {}],"nextLink":null})");
  EXPECT_EQ(Found(""), (Texts{"a_1_BDAZSNAP", "c_1_BDAZSNAP"}));
  const std::string page = "GET " + list_path + list_query;
  EXPECT_EQ(Requests(), (Texts{page + " ", page + "&$skiptoken=p%202 ", page + "&$skiptoken=p=3 "}));
}

TEST_F(ManagedDiskSnapshots, AListThatGoesNowhereEnds) {
  const std::string there = R"({"value":[],"nextLink":"https://h/x?api-version=1&$skiptoken=)";
  const std::vector<Texts> cases{{there + R"(1"})", there + R"(1"})"},
                                 {there + R"(1"})", there + R"(2"})", there + R"(1"})"},
                                 {R"({"value":[],"nextLink":"https://h/x?api-version=1"})"},
                                 {there + R"("})"}};
  for (const Texts& pages : cases) {
    for (std::size_t i = 0; i < pages.size(); ++i) {
      AnswerPage(i + 1, pages[i]);
    }
    simulator.clear_requests();
    EXPECT_EQ(List(), azurestackpi::kInternalError) << pages.back();
    EXPECT_EQ(Requests().size(), pages.size());
  }
}

TEST_F(ManagedDiskSnapshots, AListThatCannotBeReadIsAFailure) {
  const std::vector<std::tuple<int, const char*, Status>> cases{{401, "{}", azurestackpi::kNotAuthorized},
                                                                {404, "{}", azurestackpi::kServerUnavailable},
                                                                {403, R"({"value":[]})", 6646},
                                                                {200, "<html>", azurestackpi::kBadJson},
                                                                {200, "", azurestackpi::kBadJson}};
  for (const auto& [code, body, status] : cases) {
    AnswerPage(1, R"({"value":[{"id":"/s/a_1_BDAZSNAP"}],"nextLink":"https://h/?$skiptoken=2"})");
    Answer(list_path, code, {}, body, 2);
    EXPECT_EQ(List(), status) << body;
    EXPECT_TRUE(log.contains(4, "Parsing of snapshot list response failed with error " + std::to_string(status)));
  }
}

TEST(ManagedDiskList, TellsThisPluginsSnapshotsByTheEndOfTheirIds) {
  const std::string body = R"({"value":[{"id":"/s/a_b_BDAZSNAP"},{"id":"/s/a_xb_BDAZSNAP"},{"id":"/s/a_b_BDAZSNAPX"},)"
                           R"({"id":"/s/BDAZSNAP"},{"id":"/s/a_b_bdazsnap"},{"id":"/s/a_b_BDAZSNAP/x"}]})";
  const std::vector<std::pair<const char*, Texts>> cases{
      {"", {"/s/a_b_BDAZSNAP", "/s/a_xb_BDAZSNAP"}}, {"b", {"/s/a_b_BDAZSNAP"}}, {"c", {}}, {"a", {}}};
  for (const auto& [name, expected] : cases) {
    Texts ids;
    std::string next;
    EXPECT_EQ(azurestackMD::ParseALLMDSnapshotList("HTTP/1.1 200 OK\r\n", body, name, ids, next), kOk);
    EXPECT_EQ(ids, expected) << name;
    EXPECT_EQ(next, "");
  }
}

}  // namespace
}  // namespace blob_test
