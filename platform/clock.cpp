#include "platform/clock.h"

#include <cerrno>

namespace platform {
namespace {

class SystemClock final : public Clock {
 public:
  std::time_t now() override { return std::time(nullptr); }

  void sleep(std::int64_t seconds) override {
    timespec remaining{seconds > 0 ? static_cast<std::time_t>(seconds) : 0, 0};
    // A signal of the host's must not shorten a pause.
    while (nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
    }
  }
};

SystemClock system_clock;
Clock* installed = &system_clock;

}  // namespace

Clock& clock() { return *installed; }

ClockOverride::ClockOverride(Clock& replacement) : previous_(installed) { installed = &replacement; }
ClockOverride::~ClockOverride() { installed = previous_; }

}  // namespace platform
