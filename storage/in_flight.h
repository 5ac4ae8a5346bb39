// How many requests of a stream are under way at once.
#pragma once

#include <algorithm>
#include <cstddef>

namespace azurestoragewrapper {

/// The longest request of a stream, and how much of a stream is held in memory at most.
inline constexpr std::size_t kLongestPiece = std::size_t{4} << 20U;
inline constexpr std::size_t kMostBytesInFlight = std::size_t{64} << 20U;
inline constexpr std::size_t kMostRequestsInFlight = 16;

/// How long the service lets a stream wait for an answer, at best, and what follows for the number of requests.
class AnswerWait {
 public:
  /// before: shortest wait of the requests before the stream, a first guess; 0: none. fixed: that many requests
  /// whatever the wait; 0: not fixed.
  AnswerWait(double before_ms, int fixed)
      : before_(before_ms), fixed_(std::min(static_cast<std::size_t>(std::max(fixed, 0)), kMostRequestsInFlight)) {}

  /// Notes the wait for an answer to a request of the stream itself; 0 counts for nothing.
  void note(double wait_ms) {
    if (wait_ms > 0 && (shortest_ <= 0 || wait_ms < shortest_)) shortest_ = wait_ms;
  }

  /// A service that is near and quick is best asked for one thing after the other: two at once only take the processor
  /// from each other. While one waits for the wire, or for the service's disks, others may as well be under way.
  std::size_t requests_in_flight() const {
    constexpr double kQuick = 4.0;
    if (fixed_ > 0) return fixed_;
    const double wait = shortest_ > 0 ? shortest_ : before_;
    if (wait < kQuick) return 1;
    return std::clamp(static_cast<std::size_t>(wait), std::size_t{8}, kMostRequestsInFlight);
  }

 private:
  double before_;
  std::size_t fixed_;
  double shortest_ = 0;
};

}  // namespace azurestoragewrapper
