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

// An open file, closed at the end.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {
    if (number_ < 0) {
      throw std::runtime_error("no descriptor");
    }
  }
  ~Descriptor() { close(number_); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int operator*() const { return number_; }

 private:
  int number_;
};

// Standard error leads to another file during its lifetime.
class RedirectedStandardError {
 public:
  explicit RedirectedStandardError(const Descriptor& target) { dup2(*target, STDERR_FILENO); }
  ~RedirectedStandardError() { dup2(*kept_, STDERR_FILENO); }
  RedirectedStandardError(const RedirectedStandardError&) = delete;
  RedirectedStandardError& operator=(const RedirectedStandardError&) = delete;

 private:
  Descriptor kept_{dup(STDERR_FILENO)};
};

class KeepAlive : public testing::Test {
 protected:
  KeepAlive() {
    if (pipe2(pipe_.data(), O_NONBLOCK | O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipe");
    }
  }
  ~KeepAlive() override {
    for (const int end : pipe_) {
      close(end);
    }
  }

  // Calls it with standard error leading to the pipe, or to a file that takes nothing.
  std::uint32_t Send() const {
    const Descriptor end(dup(pipe_[1]));
    const RedirectedStandardError redirected(end);
    return send_keepalive_callback("test");
  }
  static std::uint32_t SendInVain() {
    const Descriptor read_only(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const RedirectedStandardError redirected(read_only);
    return send_keepalive_callback("test");
  }

  void LoseReader() {
    close(pipe_[0]);
    pipe_[0] = open("/dev/null", O_RDONLY | O_CLOEXEC);
  }

  // What was written since the last call.
  std::string Written() const {
    std::array<char, 64> bytes;
    const ssize_t length = read(pipe_[0], bytes.data(), bytes.size());
    return length <= 0 ? std::string() : std::string(bytes.data(), static_cast<std::size_t>(length));
  }

  test_support::FreshState fresh;
  test_support::FakeClock clock;
  test_support::LogTranscript log;

 private:
  std::array<int, 2> pipe_{};
};

const std::string sent_line = "3 send_keepalive_callback: Successfully sent keep alive message to media server.\n";

TEST_F(KeepAlive, OneNewlineInSixtySeconds) {
  EXPECT_EQ(Send(), 0u);
  EXPECT_EQ(Written(), "\n");
  EXPECT_EQ(log.text(), sent_line);
  clock.advance(59);
  EXPECT_EQ(Send(), 0u);
  EXPECT_EQ(Written(), "");
  EXPECT_EQ(log.text(), sent_line);
  clock.advance(1);
  EXPECT_EQ(Send(), 0u);
  EXPECT_EQ(Written(), "\n");
}

TEST_F(KeepAlive, AFailedOneIsTriedAgainAtTheNextCall) {
  EXPECT_EQ(SendInVain(), 6619u);
  EXPECT_EQ(SendInVain(), 6619u);
  EXPECT_EQ(log.lines().size(), 2u);
  EXPECT_TRUE(log.contains(4, "Failed to send keepalive message. Error = 9: Bad file descriptor")) << log.text();
  EXPECT_EQ(Send(), 0u);
  EXPECT_EQ(Written(), "\n");
  clock.advance(60);
  EXPECT_EQ(SendInVain(), 6619u);
  clock.advance(1);
  EXPECT_EQ(Send(), 0u);
  EXPECT_EQ(Written(), "\n");
}

// A host that reads the plug-in's standard error through a pipe may be gone; that must not end this process.
TEST_F(KeepAlive, APipeWithoutAReaderIsAFailureAndNoSignal) {
  LoseReader();
  EXPECT_EQ(Send(), 6619u);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

}  // namespace
