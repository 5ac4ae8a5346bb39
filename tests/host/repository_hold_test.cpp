// Backups and what wants the repository to itself: neither makes the other fail halfway.
#include "host/repository_hold.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include "host/child_process.h"
#include "host/child_streams.h"
#include "host/interrupt.h"
#include "tests/host/test_repository.h"

namespace {

using host::RepositoryInUse;
using host_test::Ends;

const host::WaitForRepository no_wait = [] { return false; };

/// restic with the repository to itself, stopped within its answer, which fills its pipe. Several snapshots with long
/// tags have to be there.
class Exclusive {
 public:
  Exclusive(const std::string& repository, const std::string& password) {
    const host::FileDescriptor input = host::null_input();
    error_ = host::memory_file("restic");
    host::Pipe pipe = host::make_pipe();
    ::fcntl(pipe.read.get(), F_SETPIPE_SZ, 4096);
    child_.emplace(
        std::vector<std::string>{"sh", "-c", "echo $$ >&2; exec restic \"$@\"", "sh", "--quiet", "--repo", repository,
                                 "--password-file", password, "forget", "--dry-run", "--json", "--keep-last", "1"},
        std::vector<std::string>{"PATH=" + std::string(::getenv("PATH")), "HOME=" + repository + "/.."},
        host::ChildStreams{input.get(), pipe.write.get(), error_.get()});
    output_ = std::move(pipe.read);
    char byte = 0;
    EXPECT_EQ(::read(output_.get(), &byte, 1), 1) << host::content(error_);
  }
  void finish() {
    std::array<char, 65536> piece{};
    while (::read(output_.get(), piece.data(), piece.size()) > 0) {
    }
    EXPECT_EQ(child_->join(), 0);
  }
  void kill() {
    ::kill(std::stoi(host::content(error_)), SIGKILL);
    child_->join();
  }

 private:
  host::FileDescriptor error_;
  host::FileDescriptor output_;
  std::optional<host::ChildProcess> child_;
};

class Hold : public host_test::RepositoryTest {
 protected:
  Hold() {
    const std::vector<std::string> tags{"tag", std::string(70'000, 'x')};
    for (int at = 0; at < 2; ++at) {
      host::ResticUpload upload(restic_, "/stream", tags);
      upload.write("x", 1);
      upload.finish();
    }
  }
  std::ptrdiff_t files_in(const char* folder) const {
    const std::filesystem::recursive_directory_iterator entries(repository_ + "/" + folder);
    return std::count_if(begin(entries), end(entries), [](const auto& entry) { return entry.is_regular_file(); });
  }
  host_test::Outcome backup(const std::string& kind, std::vector<std::string> more) const {
    more.insert(more.begin(), {"backup", "/s", "--plugin", FAKE_PLUGIN, "--server", kind + ".r1.stack.example"});
    return run(more);
  }

  const host::InterruptGuard guard_;  // a restic that refuses does not read what it is given
};

TEST_F(Hold, KeepsPruneOutAndStoresNothing) {
  const auto stored = files_in("data");
  auto hold = host::hold_repository(restic_, no_wait);
  const auto other = host::hold_repository(restic_, no_wait);
  EXPECT_THROW(restic_.prune(), RepositoryInUse);
  hold.reset();
  EXPECT_THROW(restic_.prune(), RepositoryInUse);
  EXPECT_EQ(files_in("data"), stored);
  EXPECT_EQ(restic_.snapshots("").size(), 0U);  // without a tag
}

TEST_F(Hold, WaitsForWhoHasTheRepositoryToItself) {
  Exclusive exclusive(repository_, password_);
  EXPECT_THROW(host::hold_repository(restic_, no_wait), RepositoryInUse);
  EXPECT_THAT(backup("fine", {"--retry-lock", "0"}), Ends(16, {"run the command again when it is done"}));
  int waits = 0;
  const auto hold = host::hold_repository(restic_, [&] {
    if (++waits == 2) exclusive.finish();
    return true;
  });
  EXPECT_EQ(waits, 2);
}

// A prune that was killed must not be the end of all backups.
TEST_F(Hold, PassesTheLockOfWhoIsGone) {
  Exclusive(repository_, password_).kill();
  EXPECT_EQ(files_in("locks"), 1);
  host::hold_repository(restic_, no_wait);
  EXPECT_EQ(files_in("locks"), 0);
}

// Killed in the middle of a disk, nobody tidies up: the lock of the disk's stream is there, and the backup's own.
TEST_F(Hold, IsABackupsFromItsBeginning) {
  EXPECT_EQ(backup("killed", {}).exit_code, -1);
  EXPECT_EQ(files_in("locks"), 2);
}

}  // namespace
