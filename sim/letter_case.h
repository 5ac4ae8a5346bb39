// Resource Manager takes names for equal in either case, and writes ids in more than one.
#pragma once

#include <string>
#include <string_view>

namespace sim {

/// Equal but for the case of ASCII letters.
bool equal_ignoring_case(std::string_view left, std::string_view right);

/// Texts with their ASCII letters changed; every other byte stands.
std::string lower_case(std::string_view text);
std::string upper_case(std::string_view text);

/// An order that takes letters of either case for the same.
struct LessIgnoringCase {
  using is_transparent = void;
  bool operator()(std::string_view left, std::string_view right) const;
};

}  // namespace sim
