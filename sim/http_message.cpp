#include "sim/http_message.h"

#include <algorithm>
#include <cctype>

namespace sim {

bool equal_ignoring_case(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

std::optional<std::string> find_header(const Headers& headers, std::string_view name) {
  for (const auto& [key, value] : headers) {
    if (equal_ignoring_case(key, name)) return value;
  }
  return std::nullopt;
}

}  // namespace sim
