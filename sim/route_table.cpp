#include "sim/route_table.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace sim {
namespace {

/// The parts between the slashes, percent-decoded one by one, so that a decoded slash does not split.
std::vector<std::string> segments_of(std::string_view path) {
  std::vector<std::string> segments;
  if (path.ends_with('/')) path.remove_suffix(1);
  while (path.starts_with('/')) {
    path.remove_prefix(1);
    const std::string_view segment = path.substr(0, path.find('/'));
    segments.push_back(percent_decoded(segment));
    path.remove_prefix(segment.size());
  }
  return segments;
}

bool is_name(std::string_view segment) { return segment.starts_with('{') && segment.ends_with('}'); }

/// The values of the pattern's {names} when the path is of its form.
std::optional<std::map<std::string, std::string>> match(const std::vector<std::string>& pattern,
                                                        const std::vector<std::string>& path) {
  if (pattern.size() != path.size()) return std::nullopt;
  std::map<std::string, std::string> values;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (is_name(pattern[i]) && !path[i].empty()) {
      values.emplace(pattern[i].substr(1, pattern[i].size() - 2), path[i]);
    } else if (!equal_ignoring_case(pattern[i], path[i])) {
      return std::nullopt;
    }
  }
  return values;
}

}  // namespace

void RouteTable::add(Route route) {
  std::vector<std::string> segments = segments_of(route.path);
  entries_.push_back({std::move(route), std::move(segments)});
}

RouteTable::Match RouteTable::find(Service service, const Request& request) const {
  const std::string_view target = request.target;
  const std::string_view path = target.substr(0, target.find('?'));
  const std::string_view query = target.substr(std::min(path.size() + 1, target.size()));
  const std::vector<std::string> segments = segments_of(path);
  for (const Entry& entry : entries_) {
    if (entry.route.service != service || entry.route.method != request.method) continue;
    if (auto values = match(entry.segments, segments)) {
      return {&entry.route, {request, std::move(*values), parse_fields(query)}};
    }
  }
  return {nullptr, {request, {}, parse_fields(query)}};
}

}  // namespace sim
