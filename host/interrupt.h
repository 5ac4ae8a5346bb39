// A request to stop (SIGINT, SIGTERM or SIGHUP), taken as a wish: what is open gets closed before the program leaves.
#pragma once

#include <signal.h>

#include <array>
#include <cstdint>
#include <stdexcept>

namespace host {

/// Thrown at the places where work can stop.
class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("interrupted") {}
};

/// While it lives, those signals set a flag instead of ending the process, and a pipe that nobody reads gives an error
/// (EPIPE) instead of SIGPIPE, a file at the limit of its size one (EFBIG) instead of SIGXFSZ. One at a time; the flag
/// starts cleared.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

 private:
  static constexpr std::size_t signal_count = 5;
  std::array<struct sigaction, signal_count> before_{};
};

/// Throws Interrupted when one of the signals has come, and takes it: what is closed on the way out is not stopped by
/// it, only by a further one.
void check_interrupt();

/// True once for each signal, for the plug-in, whose request in hand is to stop but not those that tidy up after it.
/// check_interrupt still throws for this signal.
bool stop_request() noexcept;

/// The same as a session's keep-alive: the plug-in waits minutes for the cloud, and this is how a signal reaches it
/// there.
std::uint32_t stop_when_interrupted(const char* caller) noexcept;

}  // namespace host
