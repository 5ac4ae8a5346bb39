#include "sim/http_message.h"

namespace sim {

std::optional<std::string> find_header(const Headers& headers, std::string_view name) {
  for (const auto& [key, value] : headers) {
    if (equal_ignoring_case(key, name)) return value;
  }
  return std::nullopt;
}

}  // namespace sim
