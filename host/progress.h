// How far a long stream is: a bar that moves on a terminal, now and then a line elsewhere, nothing when programs read.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "host/console.h"

namespace host {

class Progress {
 public:
  /// The console must outlive it. quiet: nothing is shown.
  Progress(const Console& console, bool quiet);

  /// A stream begins; name is fit for a terminal.
  void begin(const std::string& name);
  /// So much of it is done, of so much in all; 0: that is not known yet.
  void advance(std::uint64_t done, std::uint64_t whole);
  /// It has ended; the bar goes away.
  void end();

 private:
  using Clock = std::chrono::steady_clock;

  std::string line(std::uint64_t done, std::uint64_t whole, std::uint64_t seconds) const;

  const Console& console_;
  bool quiet_;
  bool bar_;
  bool shown_ = false;
  std::string name_;
  Clock::time_point start_;
  Clock::time_point next_;
};

}  // namespace host
