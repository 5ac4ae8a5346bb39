// Time that a test moves: pauses are recorded and pass at once.
#pragma once

#include <vector>

#include "platform/clock.h"

namespace test_support {

/// Stands in for the system's clock during its own lifetime.
class FakeClock final : public platform::Clock {
 public:
  std::time_t now() override { return now_; }
  void sleep(std::int64_t seconds) override {
    pauses_.push_back(seconds);
    now_ += seconds > 0 ? seconds : 0;
  }

  void advance(std::int64_t seconds) { now_ += seconds; }
  const std::vector<std::int64_t>& pauses() const { return pauses_; }
  void clear_pauses() { pauses_.clear(); }

 private:
  std::time_t now_ = 1'700'000'000;
  std::vector<std::int64_t> pauses_;
  platform::ClockOverride installed_{*this};
};

}  // namespace test_support
