// A whole backup of two machines in which each request fails in turn: the host gets statuses that there are, a line
// says what went wrong, the machine that the request was not for is backed up whole, and nothing stays behind.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

#include "tests/object/backup_fixture.h"

namespace backup_test {
namespace {

using namespace azurestackpi;

class BackupFaultTest : public BackupTest {
 protected:
  BackupFaultTest() {
    for (const char* disk : {"web-01-os", "web-01-data", "DB-01-os"}) {
      images_[disk] = ImageOfDisk(disk);
    }
  }

  /// A failed machine's objects are asked for once more, as a host does that has a second try.
  void Backup() {
    statuses_.clear();
    done_.clear();
    Start({{"VM_SNAPSHOT_IN_DISCOVERY", "false"}, {"ENABLE_SNAPSHOT_CLEANUP", "1"}, {"SNAPSHOT_CLEANUP_MIN", "0"}});
    ClearLog();
    Note(Discover(snapid_));
    BackUpWhatIsLeft();
    failed_ = Failed();
    if (!failed_.empty()) {
      simulator.advance_time(31);  // snapshots that nobody waited for have come into being
      BackUpWhatIsLeft();
      EXPECT_EQ(Failed(), Texts{}) << "what failed once is in the way of the second try";
    }
    Sweep();
  }

  void BackUpWhatIsLeft() {
    for (const std::string& path : Texts(records)) {
      if (done_.count(path) == 0 && BackUpObject(path)) {
        done_.insert(path);
      }
    }
  }

  bool BackUpObject(const std::string& path) {
    if (!Note(Query(path, snapid_))) {
      return false;
    }
    if (info.object_type != AAPI_OBJECT_FILE) {
      return true;
    }
    const bool whole = Note(ReadObject(path, 8 * kMiB));
    const std::string name = path.substr(path.rfind('/') + 1);
    const auto expected = images_.find(name.substr(0, name.find(".vhd")));
    if (expected != images_.end() && whole) {
      EXPECT_TRUE(image == expected->second) << path << ": wrong data, and no failure";
    }
    return whole;
  }

  Texts Failed() const {
    Texts failed;
    std::copy_if(records.begin(), records.end(), std::back_inserter(failed),
                 [&](const std::string& path) { return done_.count(path) == 0; });
    return failed;
  }

  bool IsWhole(const std::string& machine) const {
    return std::none_of(failed_.begin(), failed_.end(),
                        [&](const std::string& path) { return path.find(machine) != std::string::npos; });
  }

  void Sweep() { Note(table->postprocess(server, ("/" + subscription).c_str(), snapid_.c_str())); }

  bool Note(Status status) {
    statuses_.insert(status);
    return status == kOk;
  }

  /// Lines of failures; level 4 also has lines of normal work.
  bool TellsAFailure() const {
    return std::any_of(log.lines().begin(), log.lines().end(), [](const test_support::LogLine& line) {
      return line.level >= 4 && line.text.find("ReadAhead Size") == std::string::npos;
    });
  }

  /// Runs a backup in which a request fails, and looks at what it came to and what it left.
  void CheckBackupWithFault(const std::string& what) {
    SCOPED_TRACE(what);
    Backup();
    CheckOutcome();
    ASSERT_EQ(simulator.unused_faults(), Texts{});
    ASSERT_EQ(proxy.unused_faults(), Texts{});
    simulator.advance_time(31);
    // The service's clock does not move with the test's, so the sweep goes by the backup's id.
    Start({{"VM_SNAPSHOT_IN_DISCOVERY", "true"}});
    Sweep();
    EXPECT_EQ(ManagedSnapshots(), Texts{});
    EXPECT_EQ(BlobSnapshots(), Texts{});
  }

  void CheckOutcome() {
    for (const Status status : statuses_) {
      EXPECT_TRUE(OwnStatuses().count(status) != 0) << status;
    }
    const bool both_known = RecordsWith(web).size() > 3 && RecordsWith(db).size() > 3;
    EXPECT_TRUE((both_known && failed_.empty()) || TellsAFailure());
    EXPECT_TRUE(!both_known || IsWhole(web) || IsWhole(db)) << "the fault was in one machine's request";
  }

  /// What a backup may come to by a failure of the service.
  static const std::set<Status>& OwnStatuses() {
    static const std::set<Status> statuses{kOk,
                                           kNotFoundYet,
                                           kBadJson,
                                           kNoToken,
                                           kOperationFailed,
                                           kSystemCallFailed,
                                           kInternalError,
                                           kNoMoreEntries,
                                           kServerNameInvalid,
                                           kNotAuthorized,
                                           kCannotCommunicate,
                                           kSnapshotFailed,
                                           kNoAccessAddress,
                                           kExportFailed,
                                           kNotExported,
                                           kSnapshotBlobNotFound,
                                           kAsyncFailed,
                                           kResourceNotFound};
    return statuses;
  }

  const std::string snapid_ = "1699999000";
  std::map<std::string, std::string> images_;
  std::set<std::string> done_;
  Texts failed_;  // of the first try
  std::set<Status> statuses_;
};

// A part of the requests, another one for each kind of failure; all of them in a long run.
std::size_t Stride() { return std::getenv("AZS_LONG") != nullptr ? 1 : 5; }

TEST_F(BackupFaultTest, EachRequestToResourceManagerFailsInTurn) {
  Backup();
  simulator.clear_requests();
  Backup();  // the token is there now, as in the backups to come
  EXPECT_EQ(statuses_, std::set<Status>{kOk});
  EXPECT_FALSE(TellsAFailure()) << log.text();
  const std::size_t count = simulator.requests().size();
  ASSERT_GT(count, 20U);
  for (std::size_t n = 1; n <= count; n += Stride()) {
    simulator.add_fault({"", "", n, 1, sim::AnswerWith{{.status = 403, .body = R"({"error":{"code":"No"}})"}}});
    CheckBackupWithFault("refused: " + std::to_string(n) + " of " + std::to_string(count));
  }
  for (std::size_t n = 1 + Stride() / 2; n <= count; n += Stride()) {
    simulator.add_fault({"", "", n, 2, sim::LoseAnswer{}});  // libcurl sends it twice
    CheckBackupWithFault("lost: " + std::to_string(n) + " of " + std::to_string(count));
  }
}

TEST_F(BackupFaultTest, EachRequestToTheBlobServiceFailsInTurn) {
  const std::size_t before = proxy.requests().size();
  Backup();
  const std::size_t count = proxy.requests().size() - before;
  ASSERT_GT(count, 10U);
  for (std::size_t n = 1; n <= count; n += Stride()) {
    proxy.add({.first = n, .action = sim::AnswerWith{.response = {.status = 403}}});
    CheckBackupWithFault("refused: " + std::to_string(n) + " of " + std::to_string(count));
  }
  for (std::size_t n = 1 + Stride() / 2; n <= count; n += Stride()) {
    proxy.add({.first = n, .times = 12, .action = sim::AnswerWith{.response = {.status = 503}}});
    CheckBackupWithFault("busy: " + std::to_string(n) + " of " + std::to_string(count));
  }
}

}  // namespace
}  // namespace backup_test
