#include "host/interrupt.h"

namespace host {

namespace {

constexpr std::array stop_signals{SIGINT, SIGTERM, SIGHUP};
constexpr std::array ignored_signals{SIGPIPE, SIGXFSZ};

volatile sig_atomic_t stop_requested = 0;
volatile sig_atomic_t request_untold = 0;

void request_stop(int /*signal*/) {
  stop_requested = 1;
  request_untold = 1;
}

void forget_request() {
  stop_requested = 0;
  request_untold = 0;
}

}  // namespace

// Without SA_RESTART, so that a call that waits returns and its caller looks at the flag.
InterruptGuard::InterruptGuard() {
  forget_request();
  struct sigaction action {};
  action.sa_handler = &request_stop;
  std::size_t at = 0;
  for (const int signal : stop_signals) ::sigaction(signal, &action, &before_[at++]);
  action.sa_handler = SIG_IGN;
  for (const int signal : ignored_signals) ::sigaction(signal, &action, &before_[at++]);
}

InterruptGuard::~InterruptGuard() {
  std::size_t at = 0;
  for (const int signal : stop_signals) ::sigaction(signal, &before_[at++], nullptr);
  for (const int signal : ignored_signals) ::sigaction(signal, &before_[at++], nullptr);
}

void check_interrupt() {
  if (stop_requested == 0) return;
  forget_request();
  throw Interrupted();
}

bool stop_request() noexcept {
  if (request_untold == 0) return false;
  request_untold = 0;
  return true;
}

std::uint32_t stop_when_interrupted(const char* /*caller*/) noexcept { return stop_request() ? 1 : 0; }

}  // namespace host
