// How many requests of a stream are under way at once.
#pragma once

#include <algorithm>
#include <cstddef>

namespace azurestoragewrapper {

/// The longest request of a stream, and how much of a stream is held in memory at most.
inline constexpr std::size_t kLongestPiece = std::size_t{4} << 20U;
inline constexpr std::size_t kMostBytesInFlight = std::size_t{64} << 20U;
inline constexpr std::size_t kMostRequestsInFlight = 16;

/// Of the shortest wait for an answer seen so far, 0 when there was none: a second request keeps a near server busy
/// while the first one's answer is taken, and more of them only get in each other's way; a far one waits for the wire.
inline std::size_t requests_in_flight(double shortest_wait_ms) {
  constexpr double kNear = 4.0;
  if (shortest_wait_ms < kNear) return 2;
  return std::clamp(static_cast<std::size_t>(shortest_wait_ms), std::size_t{8}, kMostRequestsInFlight);
}

}  // namespace azurestoragewrapper
