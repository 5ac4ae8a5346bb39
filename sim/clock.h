// The simulator's own notion of now.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

/// The system's time, moved forward at will: tokens expire without anybody waiting.
class SimulatedClock {
 public:
  /// Seconds since the epoch.
  std::int64_t now() const;
  void advance(std::int64_t seconds) { ahead_ += seconds; }

 private:
  std::int64_t ahead_ = 0;
};

/// A moment in UTC, written as strftime's format says.
std::string utc_text(std::int64_t seconds, const char* format);

}  // namespace sim
