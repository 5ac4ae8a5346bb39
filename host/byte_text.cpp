#include "host/byte_text.h"

#include <array>
#include <cstdio>

namespace host {

std::string byte_text(std::uint64_t bytes) {
  if (bytes < 1024) return std::to_string(bytes) + " B";
  constexpr std::array units{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  auto amount = static_cast<double>(bytes) / 1024;
  std::size_t unit = 0;
  while (amount >= 1023.95 && unit + 1 < units.size()) {
    amount /= 1024;
    ++unit;
  }
  std::array<char, 32> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%.1f %s", amount, units[unit]));
  return text.data();
}

std::string duration_text(std::uint64_t seconds) {
  const auto two_digits = [](std::uint64_t number) { return (number < 10 ? ":0" : ":") + std::to_string(number); };
  const std::uint64_t minutes = seconds / 60;
  if (minutes < 60) return std::to_string(minutes) + two_digits(seconds % 60);
  return std::to_string(minutes / 60) + two_digits(minutes % 60) + two_digits(seconds % 60);
}

std::string time_text(std::time_t time) {
  std::tm parts{};
  if (::gmtime_r(&time, &parts) == nullptr) return "";
  std::array<char, 32> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

}  // namespace host
