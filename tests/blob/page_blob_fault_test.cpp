// What page blobs, their snapshots and streams do when the blob service fails: the n-th request of each flow, for every
// n.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <variant>

#include "src/blob/disk_read_stream.h"
#include "src/blob/disk_write_stream.h"
#include "tests/blob/page_blob_fixture.h"

namespace page_blob_test {
namespace {

using namespace azurestackpi;
using azurestoragewrapper::BlobItem;

class FailEachRequestTest : public PageBlobTest {
 protected:
  // A flow, and what must hold after it whatever failed; carried_out: a request whose answer failed may have had its
  // effect.
  struct Flow {
    const char* name;
    std::vector<Status> legal;
    std::function<Status()> run;
    std::function<void(Status status, bool carried_out)> check;
  };

  Status ReadDisk() {
    disk_read_stream* reader = nullptr;
    Status status = OpenReadStream(Address(disk_), "kept", kTag, &reader, server, false);
    EXPECT_TRUE(status != kOk || reader != nullptr);
    if (reader == nullptr) {
      return status;
    }
    std::string text(512, '\0');
    std::size_t count = 0;
    const Status read = ReadAhead(reader, text.data(), text.size(), text.size(), count);
    EXPECT_TRUE(read != kOk || text.starts_with("first"));
    status = status == kOk ? read : status;
    const Status closed = CloseReadStream(&reader);
    const std::unique_ptr<disk_read_stream> left(reader);
    return status == kOk ? closed : status;
  }

  Status WriteDisk() {
    disk_write_stream* writer = nullptr;
    const Status opened = OpenWriteStream(Address("new-" + disk_), 8192, &writer);
    EXPECT_EQ(opened == kOk, writer != nullptr);
    opened_ = writer != nullptr;
    if (!opened_) {
      return opened;
    }
    const std::string page(4096, 'x');
    std::size_t count = 0;
    Status status = Write(writer, page.data(), page.size(), count);
    status = status == kOk ? FlushWriteStream(writer) : status;
    const Status closed = CloseWriteStream(&writer);
    const std::unique_ptr<disk_write_stream> left(writer);
    return status == kOk ? closed : status;
  }

  std::size_t SnapshotsOf(const std::string& snapid) {
    const std::vector<BlobItem> items = Items(disk_);
    return static_cast<std::size_t>(std::count_if(items.begin(), items.end(), [&](const BlobItem& item) {
      return std::find(item.metadata.begin(), item.metadata.end(),
                       std::pair<std::string, std::string>("snapid", snapid)) != item.metadata.end();
    }));
  }

  // One run on a disk of its own; false when it had no n-th request.
  bool RunOnce(const Flow& flow, const azurite::ProxyAction& action, std::uint64_t n, std::uint64_t times) {
    disk_ = "disk-" + std::to_string(++disks_) + ".vhd";
    MakeBlob(disk_);
    TakeSnapshot(disk_, "kept");
    TakeSnapshot(disk_, "other");
    RenewProxy();
    Fail("", "", action, n, times);
    log.clear();
    const Status status = flow.run();
    const bool hit = proxy->unused_faults().empty();
    EXPECT_NE(std::find(flow.legal.begin(), flow.legal.end(), status), flow.legal.end()) << status;
    EXPECT_TRUE(status == kOk || log.contains(4, "") || log.contains(5, "")) << "a failure without a line";
    EXPECT_TRUE(hit || status == kOk) << "a failure without a fault";
    RenewProxy();
    flow.check(status, std::holds_alternative<azurite::LoseAnswer>(action));
    EXPECT_EQ(SnapshotsOf("other"), 1U);
    EXPECT_EQ(Delete(disk_, "one"), kOk);
    EXPECT_EQ(SnapshotsOf("one"), 0U) << "nothing is left once the job's snapshots were deleted";
    return hit;
  }

  void Sweep(const Flow& flow) {
    const std::vector<std::pair<const char*, azurite::ProxyAction>> actions{
        {"refused", Refusal(403, "AuthorizationFailure")},
        {"busy", Refusal(503, "ServerBusy")},
        {"cut off", sim::ResetBeforeAnswer{}},
        {"answer lost", azurite::LoseAnswer{}}};
    for (const auto& [what, action] : actions) {
      for (const std::uint64_t times : {std::uint64_t{1}, azurite::ProxyFault::forever}) {
        std::uint64_t n = 1;
        for (bool hit = true; hit && n < 100; ++n) {
          SCOPED_TRACE(std::string(flow.name) + ", request " + std::to_string(n) + " " + what +
                       (times == 1 ? " once" : " for good"));
          hit = RunOnce(flow, action, n, times);
        }
        EXPECT_GT(n, 2U) << flow.name << " asked for nothing";
      }
    }
  }

  std::string disk_;
  int disks_ = 0;
  bool opened_ = false;
};

TEST_F(FailEachRequestTest, Create) {
  Sweep({"create",
         {kOk, kInternalError, kParameterNotFound},
         [&] { return Create(disk_, "one"); },
         [&](Status status, bool carried_out) {
           const std::size_t taken = SnapshotsOf("one");
           EXPECT_TRUE(carried_out || taken == (status == kOk ? 1U : 0U)) << taken;
         }});
}

TEST_F(FailEachRequestTest, Fetch) {
  Sweep({"fetch",
         {kOk, kInternalError, kSnapshotBlobNotFound},
         [&] { return PageBlobTest::Fetch(disk_, "one", true, true); },
         [&](Status status, bool carried_out) {
           EXPECT_EQ(snapshot_ != nullptr, status == kOk);
           EXPECT_TRUE(carried_out || SnapshotsOf("one") <= 1U);
         }});
}

TEST_F(FailEachRequestTest, Read) {
  Sweep({"read",
         {kOk, kNotFoundYet, kNoMoreEntries, kInternalError},
         [&] { return ReadDisk(); },
         [&](Status, bool) { EXPECT_EQ(SnapshotsOf("kept"), 1U); }});
}

TEST_F(FailEachRequestTest, Write) {
  Sweep({"write",
         {kOk, kInternalError},
         [&] { return WriteDisk(); },
         [&](Status status, bool carried_out) {
           const std::string name = "new-" + disk_;
           EXPECT_TRUE(carried_out || Items(name, false).size() == (opened_ ? 1U : 0U));
           if (status == kOk) {
             EXPECT_EQ(service->read(Blob(name), 0, 4096), std::string(4096, 'x'));
           }
         }});
}

TEST_F(FailEachRequestTest, Delete) {
  Sweep({"delete",
         {kOk, kInternalError},
         [&] { return PageBlobTest::Delete(disk_, "kept"); },
         [&](Status status, bool carried_out) {
           const std::size_t left = SnapshotsOf("kept");
           EXPECT_TRUE(carried_out || left == (status == kOk ? 0U : 1U)) << left;
         }});
}

}  // namespace
}  // namespace page_blob_test
