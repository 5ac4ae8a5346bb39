// The $filter of Resource Manager's list of resources.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// Which types of resources are asked for.
class ResourceFilter {
 public:
  /// An empty text asks for every type; else "ResourceType eq 'A/B' or ResourceType eq 'C/D'", in parentheses or not.
  /// Words match in either case. Throws Refusal (400) for any other text.
  explicit ResourceFilter(std::string_view text);

  bool accepts(std::string_view type) const;

 private:
  std::vector<std::string> types_;
};

}  // namespace sim
