// Who may read a managed disk's snapshot, and until when: from a query, over the open disk that takes it, to the end of
// either, whatever fails on the way.
#include <algorithm>
#include <array>

#include "tests/object/backup_fixture.h"

namespace backup_test {
namespace {

using namespace azurestackpi;

const Settings kInBackup{{"VM_SNAPSHOT_IN_DISCOVERY", "false"}};
const sim::FaultAction kRefused = sim::AnswerWith{{.status = 403, .body = R"({"error":{"code":"No"}})"}};
constexpr const char* kFirst = "1700000000";
constexpr const char* kSecond = "1700000001";

class BackupExportTest : public BackupTest {
 protected:
  void Prepare() {
    PrepareMachine(web, kFirst, kInBackup);
    os = RecordWith("/web-01-os");
    data = RecordWith("/web-01-data");
    start = RecordWith(web + "Metadata/UseManagedDisk=Yes");
  }

  std::ptrdiff_t Revocations() {
    const auto requests = ManagementRequests();
    return std::count_if(requests.begin(), requests.end(), [](const sim::RecordedRequest& request) {
      return request.target.find("/endGetAccess?") != std::string::npos;
    });
  }

  /// Opens another server after the one that there is was closed, or beside it, which is returned then.
  aapi_server_t* OpenAnother(bool beside) {
    if (!beside) {
      EXPECT_EQ(table->close_server(server), kOk);
    }
    aapi_server_t* const old = beside ? server : nullptr;
    const aapi_credentials_v1_t user{};
    const std::string name = "azurestack:" + simulator.management_host();
    EXPECT_EQ(table->open_server(&log.session(), name.c_str(), &user, &server), kOk);
    return old;
  }

  /// Deletes what the backup left.
  void Sweep() {
    Start({{"VM_SNAPSHOT_IN_DISCOVERY", "true"}});
    EXPECT_EQ(table->postprocess(server, ("/" + subscription).c_str(), kFirst), kOk);
  }

  void ExpectWhole(Status status) {
    EXPECT_EQ(status, kOk);
    EXPECT_TRUE(image == ImageOfDisk("web-01-os"));
  }

  std::string os;
  std::string data;
  std::string start;
};

TEST_F(BackupExportTest, EndsWithTheServerWhenNobodyOpenedTheDisk) {
  struct Case {
    bool beside;
    sim::Fault fault;
    long left;
  };
  // One that is refused does not keep the others; on a dead network one is tried, which libcurl sends twice.
  const sim::Fault refused{"POST", "DataDisk.*/endGetAccess", 1, 1, kRefused};
  const sim::Fault dead{"POST", "OSDisk.*/endGetAccess", 1, 2, sim::ResetBeforeAnswer{}};
  for (const Case& c : {Case{false, refused, 1}, Case{true, refused, 1}, Case{false, dead, 2}}) {
    Prepare();
    ASSERT_EQ(Query(os, kFirst), kOk);
    ASSERT_EQ(Query(data, kFirst), kOk);
    ASSERT_EQ(Exported(), 2);
    simulator.add_fault(c.fault);
    aapi_server_t* const old = OpenAnother(c.beside);
    EXPECT_EQ(Exported(), c.left);
    EXPECT_EQ(table->close_server(old), kOk);
    Sweep();
  }
}

TEST_F(BackupExportTest, OfALostAnswerDoesNotBlockTheNextQuery) {
  Prepare();
  ASSERT_EQ(Query(os, kFirst), kOk);  // the snapshot is there now, so that the polls to come are the export's
  struct Case {
    sim::Fault fault;
    Status status;
  };
  for (const Case& c :
       {Case{{"GET", "perations/", 1, 1, kRefused}, 6778},
        Case{{"POST", "/beginGetAccess", 1, 2, sim::LoseAnswer{}}, 6778},
        Case{{"GET", "perations/", 1, 1, sim::AnswerWith{{.body = R"({"status":"Succeeded"})"}}}, 6777}}) {
    // The first case's query begins with a revocation, which is followed by polls too.
    aapi_object_t* const unread = OpenForReading(os);
    ASSERT_EQ(table->close_object(unread), kOk);
    simulator.add_fault(c.fault);
    EXPECT_EQ(Query(os, kFirst), c.status);
    EXPECT_EQ(Exported(), 0);
    EXPECT_EQ(Query(os, kFirst), kOk);
  }
  // A request that was carried out, called failed and repeated by the transport is in its own way.
  ASSERT_EQ(table->close_object(OpenForReading(os)), kOk);
  simulator.add_fault({"POST", "/beginGetAccess", 1, 1, sim::LoseAnswer{}});
  EXPECT_EQ(Query(os, kFirst), 6778U);
  EXPECT_EQ(Query(os, kFirst), kOk);
  // One that was refused is another's.
  ASSERT_EQ(table->close_object(OpenForReading(os)), kOk);
  const auto before = Revocations();
  simulator.add_fault({"POST", "/beginGetAccess", 1, 1, kRefused});
  EXPECT_EQ(Query(os, kFirst), 6778U);
  EXPECT_EQ(Revocations(), before);
  ASSERT_EQ(Query(os, kFirst), kOk);
  ExpectWhole(ReadObject(os, 8 * kMiB));
}

TEST_F(BackupExportTest, ThatCouldNotBeRevokedIsRevokedByTheNextQuery) {
  Prepare();
  ASSERT_EQ(Query(os, kFirst), kOk);
  simulator.add_fault({"POST", "/endGetAccess", 1, 2, kRefused});
  EXPECT_EQ(Query(os, kFirst), 6778U) << "the older one is active still";
  EXPECT_EQ(ReadObject(os, kMiB), 6781U);
  ASSERT_EQ(Query(os, kFirst), kOk);
  simulator.add_fault({"POST", "/endGetAccess", 1, 1, kRefused});
  ExpectWhole(ReadObject(os, 8 * kMiB));
  EXPECT_EQ(Exported(), 1);
  ASSERT_EQ(Query(os, kFirst), kOk);
  ExpectWhole(ReadObject(os, 8 * kMiB));
  EXPECT_EQ(Exported(), 0);
}

TEST_F(BackupExportTest, BelongsToTheOpenDiskOverAnotherServer) {
  for (const bool beside : {false, true}) {
    Prepare();
    ASSERT_EQ(Query(os, kFirst), kOk);
    aapi_object_t* const object = OpenForReading(os);
    ASSERT_EQ(ReadToEnd(object, 8 * kMiB), kOk);
    aapi_server_t* const old = beside ? OpenAnother(true) : nullptr;
    EXPECT_EQ(table->close_server(nullptr), kOk);
    EXPECT_EQ(table->close_object(object), kOk);
    simulator.advance_time(31);
    EXPECT_EQ(ManagedSnapshots().size(), 1U) << "web-01-data's";
    EXPECT_EQ(table->close_server(old), kOk);
    Sweep();
  }
}

TEST_F(BackupExportTest, OfAnOpenDiskIsNotDisturbed) {
  Prepare();
  ASSERT_EQ(Query(os, kFirst), kOk);
  aapi_object_t* const object = OpenForReading(os);
  aapi_object_t* second = nullptr;
  EXPECT_EQ(table->open_object(server, os.c_str(), 0, &second), 6781U);
  EXPECT_EQ(Query(os, kFirst), 6778U);
  EXPECT_EQ(table->open_object(server, os.c_str(), 0, &second), 6781U);
  ExpectWhole(ReadToEnd(object, 8 * kMiB));
  EXPECT_EQ(table->close_object(object), kOk);
  EXPECT_EQ(Exported(), 0);

  const std::string vhd = RecordWith(db + "demodisks1");
  ASSERT_EQ(Query(vhd, kFirst), kOk);
  aapi_object_t* const blob = OpenForReading(vhd);
  EXPECT_EQ(table->open_object(server, (vhd + "/").c_str(), 0, &second), 6612U)
      << "the end of the first one's reading would delete its snapshot";
  EXPECT_EQ(ReadToEnd(blob, 8 * kMiB), kOk);
  ASSERT_EQ(Query("/", kSecond), kOk) << "another backup begins";
  EXPECT_EQ(table->close_object(blob), kOk);
  EXPECT_EQ(BlobSnapshots(), Texts{});
}

TEST_F(BackupExportTest, IsOfTheBackupThatAskedForIt) {
  Prepare();
  simulator.advance_time(31);
  ASSERT_EQ(Query(os, kFirst), kOk);
  ASSERT_EQ(Query(data, kFirst), kOk);
  ASSERT_EQ(Query(start, kSecond), kOk);
  simulator.advance_time(31);
  ExpectWhole(ReadObject(os, 8 * kMiB));
  const auto holds = [&](const char* backup) {
    const Texts names = ManagedSnapshots();
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
      return name.find(std::string("OSDisk_9999_") + backup) != std::string::npos;
    });
  };
  EXPECT_FALSE(holds(kFirst)) << "it was read to its end";
  EXPECT_TRUE(holds(kSecond)) << "it was not read";

  // A query that fails leaves no older backup's data behind to be opened as this one's.
  // Three polls are of the older export's end.
  simulator.add_fault({"GET", "perations/", 4, 1, sim::AnswerWith{{.body = R"({"status":"Failed"})"}}});
  EXPECT_EQ(Query(data, kSecond), 6786U);
  EXPECT_EQ(ReadObject(data, kMiB), 6781U);
  EXPECT_EQ(Exported(), 0);
}

TEST_F(BackupExportTest, OfADiskThatIsStillOpenEndsWithItsServer) {
  Prepare();
  ASSERT_EQ(Query(os, kFirst), kOk);
  aapi_object_t* const closed = OpenForReading(RecordWith(web + "Metadata/Size="));
  aapi_object_t* const left = OpenForReading(os);
  EXPECT_EQ(table->close_object(closed), kOk);
  EXPECT_EQ(table->close_object(closed), 6601U);
  static_cast<void>(OpenAnother(false));
  EXPECT_EQ(Exported(), 0);
  std::array<char, 2> buffer{};
  std::uint64_t count = 0;
  EXPECT_EQ(table->read_object(left, buffer.data(), 1, 0, &count), 6601U);
  EXPECT_EQ(table->write_object(left, buffer.data(), 1, 0, &count), 6601U);
  EXPECT_EQ(table->get_object_prop(left, &info), 6601U);
  EXPECT_EQ(table->close_object(left), 6601U);
}

}  // namespace
}  // namespace backup_test
