#include "sim/clock.h"

#include <array>
#include <chrono>
#include <ctime>

namespace sim {

std::int64_t SimulatedClock::now() const {
  return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()) + ahead_;
}

std::string utc_text(std::int64_t seconds, const char* format) {
  const auto moment = static_cast<std::time_t>(seconds);
  std::tm parts{};
  gmtime_r(&moment, &parts);
  std::array<char, 64> text{};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the formats are this program's own
  return {text.data(), std::strftime(text.data(), text.size(), format, &parts)};
#pragma GCC diagnostic pop
}

}  // namespace sim
