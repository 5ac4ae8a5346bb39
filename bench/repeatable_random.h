// Random numbers that are the same on every run and every machine: SplitMix64.
#pragma once

#include <cstdint>

namespace bench {

class RepeatableRandom {
 public:
  std::uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = (state_ ^ (state_ >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
  }
  /// At least 0, less than 1.
  double NextFraction() { return static_cast<double>(Next() >> 11U) * 0x1.0p-53; }

 private:
  std::uint64_t state_ = 0;
};

}  // namespace bench
