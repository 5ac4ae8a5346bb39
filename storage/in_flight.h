// How many requests of a stream are under way at once.
#pragma once

#include <algorithm>
#include <cstddef>

namespace azurestoragewrapper {

/// The longest request of a stream, and how much of a stream is held in memory at most.
inline constexpr std::size_t kLongestPiece = std::size_t{4} << 20U;
inline constexpr std::size_t kMostBytesInFlight = std::size_t{64} << 20U;
inline constexpr std::size_t kMostRequestsInFlight = 16;

/// Of the shortest wait for an answer seen so far, 0 when there was none. Near the service one is enough: the next is
/// sent before the caller works on what came, and two at once only take the processor from each other. Far from it the
/// wait is for the wire, and the more are under way the better.
inline std::size_t requests_in_flight(double shortest_wait_ms) {
  constexpr double kNear = 4.0;
  if (shortest_wait_ms < kNear) return 1;
  return std::clamp(static_cast<std::size_t>(shortest_wait_ms), std::size_t{8}, kMostRequestsInFlight);
}

}  // namespace azurestoragewrapper
