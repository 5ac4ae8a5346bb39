#include "bench/delay_relay.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <deque>
#include <list>
#include <optional>
#include <system_error>
#include <vector>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kSpliceFlags = SPLICE_F_MOVE | SPLICE_F_NONBLOCK;

/// A pipe that holds 1 MiB, which is what the system grants everybody.
class Pipe {
 public:
  Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    out_ = Descriptor(ends[0]);
    in_ = Descriptor(ends[1]);
    fcntl(in_.get(), F_SETPIPE_SZ, kCapacity);
  }

  bool empty() const { return held_ == 0; }

  /// As splice: bytes moved, 0 at the end of the socket's, -1 with errno.
  ssize_t Take(int socket) {
    const ssize_t got = splice(socket, nullptr, in_.get(), nullptr, kCapacity, kSpliceFlags);
    held_ += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    return got;
  }
  ssize_t Give(int socket, std::size_t size) {
    const ssize_t given = splice(out_.get(), nullptr, socket, nullptr, size, kSpliceFlags);
    held_ -= static_cast<std::size_t>(std::max<ssize_t>(given, 0));
    return given;
  }

 private:
  static constexpr int kCapacity = 1024 * 1024;
  Descriptor out_;
  Descriptor in_;
  std::size_t held_ = 0;
};

/// The bytes of one direction of a connection, waiting for their time in as many pipes as it takes.
class Direction {
 public:
  Direction(int from, int to, Clock::duration delay) : from_(from), to_(to), delay_(delay), pipes_(1) {}

  short from_events() const { return ended_ ? short{0} : short{POLLIN}; }
  short to_events() const { return blocked_ ? short{POLLOUT} : short{0}; }
  bool finished() const { return ended_ && waiting_.empty(); }

  /// When the next bytes are to be sent on; nothing when there are none, or when the receiver takes no more.
  std::optional<Clock::time_point> due() const {
    return blocked_ || waiting_.empty() ? std::nullopt : std::optional(waiting_.front().due);
  }

  /// Takes in what came. Returns false when the connection is broken.
  bool Receive() {
    ssize_t got = pipes_.back().Take(from_);
    if (got < 0 && errno == EAGAIN && !pipes_.back().empty()) {
      AddPipe();  // the sender was ready, so it was the pipe that had no room
      got = pipes_.back().Take(from_);
    }
    if (got < 0) return errno == EAGAIN;
    ended_ = got == 0;
    waiting_.push_back({Clock::now() + delay_, static_cast<std::size_t>(got)});
    return true;
  }

  /// Sends on what is due. Returns false when the connection is broken.
  bool Deliver() {
    blocked_ = false;
    while (!waiting_.empty() && waiting_.front().due <= Clock::now()) {
      Chunk& chunk = waiting_.front();
      if (chunk.size > 0) {
        const ssize_t sent = pipes_.front().Give(to_, chunk.size);
        if (sent <= 0) {
          blocked_ = sent < 0 && errno == EAGAIN;
          return blocked_;
        }
        chunk.size -= static_cast<std::size_t>(sent);
        if (pipes_.front().empty() && pipes_.size() > 1) spare_.splice(spare_.begin(), pipes_, pipes_.begin());
      } else {
        shutdown(to_, SHUT_WR);
      }
      if (chunk.size == 0) waiting_.pop_front();
    }
    return true;
  }

 private:
  struct Chunk {
    Clock::time_point due;
    std::size_t size;  // all in one pipe; 0: the sender's end
  };

  void AddPipe() {
    if (spare_.empty()) spare_.emplace_back();
    pipes_.splice(pipes_.end(), spare_, spare_.begin());
  }

  int from_;
  int to_;
  Clock::duration delay_;
  std::list<Pipe> pipes_;  // in the order of the bytes; never none
  std::list<Pipe> spare_;
  std::deque<Chunk> waiting_;
  bool ended_ = false;
  bool blocked_ = false;
};

void MakeNonBlocking(int descriptor) { fcntl(descriptor, F_SETFL, O_NONBLOCK); }

class RelayedConnection {
 public:
  RelayedConnection(Descriptor client, Descriptor server, Clock::duration delay)
      : client_(std::move(client)),
        server_(std::move(server)),
        there_(client_.get(), server_.get(), delay),
        back_(server_.get(), client_.get(), delay) {
    for (const int socket : {client_.get(), server_.get()}) {
      SendAtOnce(socket);
      MakeNonBlocking(socket);
    }
  }

  void AddTo(std::vector<pollfd>& watched) const {
    watched.push_back({client_.get(), static_cast<short>(there_.from_events() | back_.to_events()), 0});
    watched.push_back({server_.get(), static_cast<short>(back_.from_events() | there_.to_events()), 0});
  }

  Clock::time_point EarliestDue(Clock::time_point until) const {
    for (const Direction* direction : {&there_, &back_}) {
      if (const auto due = direction->due()) until = std::min(until, *due);
    }
    return until;
  }

  /// Returns false when the connection is over.
  bool Step(short client_ready, short server_ready) {
    constexpr int kGone = POLLERR | POLLHUP;
    if (((client_ready | server_ready) & kGone) != 0 && ((client_ready | server_ready) & POLLIN) == 0) return false;
    if ((client_ready & POLLIN) != 0 && !there_.Receive()) return false;
    if ((server_ready & POLLIN) != 0 && !back_.Receive()) return false;
    return there_.Deliver() && back_.Deliver() && !(there_.finished() && back_.finished());
  }

 private:
  Descriptor client_;
  Descriptor server_;
  Direction there_;
  Direction back_;
};

class Relay {
 public:
  Relay(int listener, std::uint16_t target, Clock::duration delay)
      : listener_(listener), target_(target), delay_(delay) {}

  /// Never returns: the process is terminated by its owner.
  void Run() {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    prctl(PR_SET_TIMERSLACK, 1UL);
    while (true) {
      const std::vector<pollfd> watched = Wait();
      std::size_t next = 1;
      connections_.remove_if([&](RelayedConnection& connection) {
        const short client_ready = watched[next++].revents;
        return !connection.Step(client_ready, watched[next++].revents);
      });
      if ((watched[0].revents & POLLIN) != 0) {
        connections_.emplace_back(Checked(accept(listener_, nullptr, nullptr), "accept"), Connect(target_), delay_);
      }
    }
  }

 private:
  std::vector<pollfd> Wait() const {
    std::vector<pollfd> watched{{listener_, POLLIN, 0}};
    const Clock::time_point now = Clock::now();
    Clock::time_point until = now + std::chrono::hours(1);
    for (const RelayedConnection& connection : connections_) {
      connection.AddTo(watched);
      until = connection.EarliestDue(until);
    }
    const auto pause =
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::max(until - now, Clock::duration::zero()));
    timespec timeout{};
    timeout.tv_sec = pause.count() / 1'000'000'000;
    timeout.tv_nsec = pause.count() % 1'000'000'000;
    if (ppoll(watched.data(), watched.size(), &timeout, nullptr) < 0) {
      throw std::system_error(errno, std::generic_category(), "ppoll");
    }
    return watched;
  }

  int listener_;
  std::uint16_t target_;
  Clock::duration delay_;
  std::list<RelayedConnection> connections_;
};

}  // namespace

DelayRelay::DelayRelay(std::uint16_t target, std::chrono::microseconds one_way) {
  process_ =
      std::make_unique<ChildProcess>([this, target, one_way] { Relay(listener_.socket.get(), target, one_way).Run(); });
  listener_.socket = Descriptor();
}

}  // namespace bench
