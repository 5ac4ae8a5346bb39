#include "tests/azurite/proxy_fault.h"

#include <algorithm>
#include <utility>

#include "sim/letter_case.h"

namespace azurite {

void ProxyFaultList::add(ProxyFault fault) {
  std::regex target(fault.target);
  std::regex header(fault.header);
  entries_.push_back({std::move(fault), std::move(target), std::move(header)});
}

bool ProxyFaultList::matches(const Entry& entry, const sim::Request& request) {
  const ProxyFault& fault = entry.fault;
  if (!fault.method.empty() && fault.method != request.method) return false;
  if (!std::regex_search(request.target, entry.target)) return false;
  return fault.header.empty() || std::any_of(request.headers.begin(), request.headers.end(), [&](const auto& header) {
           return std::regex_search(sim::lower_case(header.first) + ": " + header.second, entry.header);
         });
}

std::optional<ProxyAction> ProxyFaultList::take(const sim::Request& request) {
  std::optional<ProxyAction> action;
  for (Entry& entry : entries_) {
    if (!matches(entry, request)) continue;
    ++entry.matches;
    const bool due = entry.matches >= entry.fault.first && entry.matches - entry.fault.first < entry.fault.times;
    if (!due || action) continue;
    entry.used = true;
    action = entry.fault.action;
  }
  return action;
}

std::vector<std::string> ProxyFaultList::unused() const {
  std::vector<std::string> lines;
  for (const auto& [fault, target, header, matches, used] : entries_) {
    if (used) continue;
    lines.push_back((fault.method.empty() ? "any method" : fault.method) + " " + fault.target + " " + fault.header +
                    " from match " + std::to_string(fault.first) + " on, " + std::to_string(matches) + " matched");
  }
  return lines;
}

}  // namespace azurite
