// Time as a seam: every pause and every look at the clock goes through the installed Clock, so that a test can replace
// both and assert the exact list of pauses at no cost.
#pragma once

#include <cstdint>
#include <ctime>

namespace platform {

class Clock {
 public:
  virtual ~Clock() = default;
  /// Seconds since the epoch.
  virtual std::time_t now() = 0;
  /// Pauses the calling thread; nothing for 0 or less.
  virtual void sleep(std::int64_t seconds) = 0;
};

/// The installed clock: the system's own unless a ClockOverride stands.
Clock& clock();

/// Installs a clock for its own lifetime and puts the one before back. Not for use while another thread runs.
class ClockOverride {
 public:
  explicit ClockOverride(Clock& replacement);
  ~ClockOverride();
  ClockOverride(const ClockOverride&) = delete;
  ClockOverride& operator=(const ClockOverride&) = delete;

 private:
  Clock* previous_;
};

}  // namespace platform
