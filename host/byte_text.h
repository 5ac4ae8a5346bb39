// Numbers of bytes and durations for people.
#pragma once

#include <cstdint>
#include <string>

namespace host {

/// "0 B", "1.5 GiB": at most four digits.
std::string byte_text(std::uint64_t bytes);

/// "0:07", "1:02:03".
std::string duration_text(std::uint64_t seconds);

}  // namespace host
