// A managed and an unmanaged disk given back while each request fails in turn: the host gets statuses that there are, a
// line says what went wrong, a disk that is told to be whole is whole, and no blob is left that no line names.
#include <algorithm>

#include "sim/vhd_footer.h"
#include "src/object/restore_state.h"
#include "tests/object/restore_fixture.h"

namespace backup_test {
namespace {

using namespace azurestackpi;

class RestoreFaultTest : public RestoreTest {
 protected:
  /// Gives both disks back; names hold the round, so that no two rounds meet.
  void RestoreBoth() {
    const std::string round = std::to_string(++rounds_);
    container_ = NewContainer("").container;
    StartRestore({{"STAGING_STORAGE_ACCOUNTS", account}});
    log.clear();
    managed_path_ = ManagedPath("-" + round + "-");
    vhd_path_ = PathOf({account, container_, "disk.vhd"});
    managed_ = Restore(managed_path_, image_);
    vhd_ = Restore(vhd_path_, image_, 100'000);
  }

  void CheckRoundWithFault(const std::string& what) {
    SCOPED_TRACE(what);
    RestoreBoth();
    ASSERT_EQ(simulator.unused_faults(), Texts{});
    ASSERT_EQ(proxy.unused_faults(), Texts{});
    CheckDisk(managed_path_, managed_);
    CheckDisk(vhd_path_, vhd_);
    CheckBlobs("vhds", own_name + "-" + std::to_string(rounds_) + "-");
    CheckBlobs(container_, "");
  }

  void CheckDisk(const std::string& path, Status status) {
    EXPECT_TRUE(status == kOk || status == kNoToken || status == kBadJson || !StatusText(status).empty()) << status;
    const RestoredDisk* const disk = FindRestoredDisk(path);
    EXPECT_EQ(disk != nullptr && disk->complete, status == kOk) << path;
    EXPECT_TRUE(status == kOk || TellsWhy()) << "no line";
  }

  // The query of a disk that is to be made tells that there is none yet, which is no reason.
  bool TellsWhy() const {
    return std::any_of(log.lines().begin(), log.lines().end(), [](const test_support::LogLine& line) {
      return line.level >= 4 &&
             line.text.find("azurestackpi_get_object_metadata failed, returning rc: 2") == std::string::npos;
    });
  }

  // A disk that is not complete has no blob, or one that a line names.
  void CheckBlobs(const std::string& container, const std::string& prefix) {
    const RestoredDisk* const vhd = FindRestoredDisk(vhd_path_);
    for (const std::string& name : BlobNames(container, prefix)) {
      if (container == container_ && vhd != nullptr && vhd->complete) {
        EXPECT_TRUE(ImageOfBlob({account, container, name}) == image_) << "wrong data, and no failure";
      } else {
        EXPECT_TRUE(TellsError(name) || log.contains(2, name)) << name << " is left behind";
      }
    }
  }

  const std::string image_ = ImageOf("disk", {{{0, 8192}, {kMiB, 4096}}});
  int rounds_ = 0;
  std::string container_;
  std::string managed_path_;
  std::string vhd_path_;
  Status managed_ = kOk;
  Status vhd_ = kOk;
};

TEST_F(RestoreFaultTest, EachRequestToResourceManagerFailsInTurn) {
  RestoreBoth();
  simulator.clear_requests();
  CheckRoundWithFault("nothing");
  EXPECT_EQ(managed_, kOk);
  EXPECT_EQ(vhd_, kOk);
  const std::size_t count = simulator.requests().size();
  ASSERT_GT(count, 8U);
  for (std::size_t n = 1; n <= count; ++n) {
    simulator.add_fault({"", "", n, 1, sim::AnswerWith{{.status = 403, .body = R"({"error":{"code":"No"}})"}}});
    CheckRoundWithFault("refused: " + std::to_string(n) + " of " + std::to_string(count));
    simulator.add_fault({"", "", n, 1, sim::LoseAnswer{}});
    CheckRoundWithFault("lost: " + std::to_string(n) + " of " + std::to_string(count));
  }
}

TEST_F(RestoreFaultTest, EachRequestToTheBlobServiceFailsInTurn) {
  RestoreBoth();  // the first one of all makes the container
  const std::size_t before = proxy.requests().size();
  RestoreBoth();
  const std::size_t count = proxy.requests().size() - before;
  ASSERT_GT(count, 10U);
  for (std::size_t n = 1; n <= count; ++n) {
    proxy.add({.first = n, .action = sim::AnswerWith{.response = {.status = 403}}});
    CheckRoundWithFault("refused: " + std::to_string(n) + " of " + std::to_string(count));
    proxy.add({.first = n, .action = azurite::LoseAnswer{}});
    CheckRoundWithFault("lost: " + std::to_string(n) + " of " + std::to_string(count));
  }
}

TEST_F(RestoreFaultTest, WhatCannotBeDeletedIsNamed) {
  proxy.add({.method = "DELETE",
             .times = azurite::ProxyFault::forever,
             .action = sim::AnswerWith{.response = {.status = 403}}});
  proxy.add({.method = "PUT",
             .target = "comp=page",
             .first = 3,
             .times = azurite::ProxyFault::forever,
             .action = sim::AnswerWith{.response = {.status = 403}}});
  CheckRoundWithFault("pages and deletions");
  EXPECT_EQ(managed_, kInternalError);
  EXPECT_EQ(vhd_, kInternalError);
  EXPECT_EQ(BlobNames(container_).size(), 1U);
}

}  // namespace
}  // namespace backup_test
