// Managed disks made of temporary VHDs, which are gone afterwards.
#include "src/blob/managed_disk_import.h"

#include "tests/blob/page_blob_fixture.h"

namespace page_blob_test {
namespace {

using azurestackpi::md_metadata;
using azurestackpi::Status;

const std::string kSubscription = sim::demo_world().subscriptions.begin()->id;
const std::string kVhd = "disk.vhd";

class ManagedDiskImport : public PageBlobTest {
 protected:
  ManagedDiskImport() : target("/" + kSubscription + "/web-rg/vm/ManagedDisks:Premium_LRS/Web.RG/data") {
    target.setStagingStavalue(account);
    MakeBlob(kVhd);
  }

  Status Import(std::uint64_t size = 1 << 30) {
    return azurestack_convertblob_to_manageddisk(simulator.management_host(), "path", Address(kVhd), R"(lo"cal)", size,
                                                 target);
  }

  /// Answers the next request for the disk.
  void Reply(const std::string& method, int status, const std::string& text = "{}") {
    sim::AnswerWith answer;
    answer.response.status = status;
    answer.response.body = text;
    simulator.add_fault({method, "/disks/", 1, 1, answer});
  }

  /// "METHOD TARGET" of the requests for the disk since the last call, and the body of the last one.
  std::vector<std::string> DiskRequests() {
    std::vector<std::string> found;
    for (const sim::RecordedRequest& request : ManagementRequests()) {
      if (request.target.find("/disks/") != std::string::npos) {
        found.push_back(request.method + " " + request.target);
        body = request.body;
      }
    }
    simulator.clear_requests();
    return found;
  }

  bool VhdIsThere() { return !Items(kVhd, false).empty(); }

  md_metadata target;
  std::string body;
};

TEST_F(ManagedDiskImport, SendsTheSizeInWholeGibibytes) {
  const std::string address = "/subscriptions/" + kSubscription +
                              "/resourceGroups/Web.RG/providers/Microsoft.Compute/disks/data-RESTORE-1700000000/"
                              "?api-version=2017-03-30";
  for (const auto& [size, shown] : {std::pair{1073741823UL, "0"}, {136365211648UL, "127"}}) {
    Reply("GET", 404);
    Reply("PUT", 202);
    EXPECT_EQ(Import(size), azurestackpi::kOk) << log.text();
    EXPECT_EQ(DiskRequests(), (std::vector<std::string>{"GET " + address, "PUT " + address}));
    EXPECT_EQ(body, R"({  "location": "lo\"cal","properties": {"creationData": {"createOption": "Import", )"
                    R"("storageAccountId" : "subscriptions/)" +
                        kSubscription +
                        R"(/resourceGroups/data_rg.1/providers/Microsoft.Storage/storageAccounts/demodisks1", )"
                        R"("sourceUri" : ")" +
                        Address(kVhd) + R"("}, "diskSizeGB" : ")" + shown +
                        R"("}, "sku" : {"name" : "Premium_LRS", "tier" : "Premium"}})");
    EXPECT_FALSE(VhdIsThere());
    EXPECT_EQ(clock.pauses().back(), 1);
    MakeBlob(kVhd);
  }
}

TEST_F(ManagedDiskImport, LeavesNoVhdWhateverHappens) {
  struct Case {
    int there;  // what the question for the disk is answered
    int made;   // and the import; 0: not asked for
    const char* account;
    const char* line;
  };
  const Case cases[] = {{404, 409, "demodisks1", "could not be made: Resource Manager answered 409: Conflict: taken"},
                        {200, 0, "demodisks1", "is there already and is left as it is"},
                        {403, 0, "demodisks1", "is there already: Resource Manager answered 403: Conflict: taken"},
                        {0, 0, "nowhere", "its staging storage account \"nowhere\" is not found"}};
  for (const Case& one : cases) {
    const std::string refusal = R"({"error":{"code":"Conflict","message":"taken"}})";
    if (one.there != 0) {
      Reply("GET", one.there, refusal);
    }
    if (one.made != 0) {
      Reply("PUT", one.made, refusal);
    }
    MakeBlob(kVhd);
    target.setStagingStavalue(one.account);
    EXPECT_EQ(Import(), azurestackpi::kInternalError);
    EXPECT_TRUE(log.contains(4, one.line)) << one.line << "\n" << log.text();
    EXPECT_FALSE(VhdIsThere());
  }
}

TEST_F(ManagedDiskImport, WhatCannotBeDeletedIsTold) {
  Reply("GET", 404);
  Reply("PUT", 201);
  Fail("DELETE", kVhd, Refusal(403, "AuthorizationFailure"));
  EXPECT_EQ(Import(), azurestackpi::kOk);
  EXPECT_TRUE(log.contains(2, "Failed to delete temporary vhd created [" + Address(kVhd) + "]."));
}

TEST_F(ManagedDiskImport, WithoutAnAddressNothingIsTouched) {
  target.setDiskRgName("a/b");
  EXPECT_EQ(Import(), azurestackpi::kInternalError);
  EXPECT_TRUE(VhdIsThere());
  EXPECT_TRUE(DiskRequests().empty());
}

}  // namespace
}  // namespace page_blob_test
