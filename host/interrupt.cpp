#include "host/interrupt.h"

namespace host {

namespace {

constexpr std::array stop_signals{SIGINT, SIGTERM, SIGHUP};

volatile sig_atomic_t stop_requested = 0;

void request_stop(int /*signal*/) { stop_requested = 1; }

}  // namespace

// Without SA_RESTART, so that a call that waits returns and its caller looks at the flag.
InterruptGuard::InterruptGuard() {
  stop_requested = 0;
  struct sigaction action {};
  action.sa_handler = &request_stop;
  std::size_t at = 0;
  for (const int signal : stop_signals) ::sigaction(signal, &action, &before_[at++]);
  action.sa_handler = SIG_IGN;
  ::sigaction(SIGPIPE, &action, &before_[at]);
}

InterruptGuard::~InterruptGuard() {
  std::size_t at = 0;
  for (const int signal : stop_signals) ::sigaction(signal, &before_[at++], nullptr);
  ::sigaction(SIGPIPE, &before_[at], nullptr);
}

bool interrupted() noexcept { return stop_requested != 0; }

void check_interrupt() {
  if (interrupted()) throw Interrupted();
}

}  // namespace host
