// A relay of TCP connections that makes the way longer: every byte arrives a fixed time after it was sent, in each
// direction, as over a wide network. It limits no bandwidth, splices without copying, and runs in a child process.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "bench/child_process.h"
#include "bench/descriptor.h"

namespace bench {

class DelayRelay {
 public:
  /// target: a port of 127.0.0.1. one_way: what each direction takes; a round trip takes twice that.
  DelayRelay(std::uint16_t target, std::chrono::microseconds one_way);

  std::uint16_t port() const { return listener_.port; }

 private:
  Listener listener_;
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace bench
