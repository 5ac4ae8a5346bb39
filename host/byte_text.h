// Numbers of bytes, durations and times for people.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace host {

/// "0 B", "1.5 GiB": at most four digits.
std::string byte_text(std::uint64_t bytes);

/// "0:07", "1:02:03".
std::string duration_text(std::uint64_t seconds);

/// "2026-01-31T12:00:00Z", of seconds since the epoch.
std::string time_text(std::time_t time);

}  // namespace host
