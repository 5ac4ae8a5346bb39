// The keep-alive: newlines on standard error, seldom enough and never in vain.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>

#include "src/base/logging.h"
#include "tests/support/fake_clock.h"
#include "tests/support/fresh_state.h"
#include "tests/support/log_transcript.h"

namespace {

using azurestackpi::send_keepalive_callback;

// Standard error leads to a file of this object's own during its lifetime.
class RedirectedStandardError {
 public:
  explicit RedirectedStandardError(int target) : kept_(dup(STDERR_FILENO)) {
    if (kept_ < 0 || dup2(target, STDERR_FILENO) < 0 || close(target) != 0) {
      throw std::runtime_error("standard error cannot be redirected");
    }
  }
  ~RedirectedStandardError() {
    dup2(kept_, STDERR_FILENO);
    close(kept_);
  }
  RedirectedStandardError(const RedirectedStandardError&) = delete;
  RedirectedStandardError& operator=(const RedirectedStandardError&) = delete;

 private:
  int kept_;
};

class KeepAlive : public testing::Test {
 protected:
  // What a call writes, which succeeds.
  static std::string Sent() {
    testing::internal::CaptureStderr();
    EXPECT_EQ(send_keepalive_callback("test"), 0u);
    return testing::internal::GetCapturedStderr();
  }
  static std::uint32_t SendInVain() {
    const RedirectedStandardError read_only(open("/dev/null", O_RDONLY | O_CLOEXEC));
    return send_keepalive_callback("test");
  }

  test_support::FreshState fresh;
  test_support::FakeClock clock;
  test_support::LogTranscript log;
};

const std::string sent_line = "3 send_keepalive_callback: Successfully sent keep alive message to media server.\n";

TEST_F(KeepAlive, OneNewlineInSixtySeconds) {
  EXPECT_EQ(Sent(), "\n");
  EXPECT_EQ(log.text(), sent_line);
  clock.advance(59);
  EXPECT_EQ(Sent(), "");
  EXPECT_EQ(log.text(), sent_line);
  clock.advance(1);
  EXPECT_EQ(Sent(), "\n");
}

TEST_F(KeepAlive, AFailedOneIsTriedAgainAtTheNextCall) {
  EXPECT_EQ(SendInVain(), 6619u);
  EXPECT_EQ(SendInVain(), 6619u);
  EXPECT_EQ(log.lines().size(), 2u);
  EXPECT_TRUE(log.contains(4, "Failed to send keepalive message. Error = 9: Bad file descriptor")) << log.text();
  EXPECT_EQ(Sent(), "\n");
  clock.advance(60);
  EXPECT_EQ(SendInVain(), 6619u);
  clock.advance(1);
  EXPECT_EQ(Sent(), "\n");
}

// A host that reads the plug-in's standard error through a pipe may be gone; that must not end this process.
TEST_F(KeepAlive, APipeWithoutAReaderIsAFailureAndNoSignal) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  ASSERT_EQ(close(ends[0]), 0);
  const RedirectedStandardError nobody_reads(ends[1]);
  EXPECT_EQ(send_keepalive_callback("test"), 6619u);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

}  // namespace
