#include "sim/fault.h"

#include <stdexcept>
#include <utility>

namespace sim {
namespace {

std::regex compiled(const std::string& pattern) {
  try {
    return std::regex(pattern);
  } catch (const std::regex_error& error) {
    throw std::invalid_argument("fault target '" + pattern + "': " + error.what());
  }
}

std::string description(const Fault& fault, std::uint64_t matches) {
  return (fault.method.empty() ? "any method" : fault.method) + " " + fault.target + " from match " +
         std::to_string(fault.first) + " on, " + std::to_string(matches) + " matched";
}

}  // namespace

void FaultList::add(Fault fault) {
  if (fault.first == 0 || fault.times == 0)
    throw std::invalid_argument("a fault counts from 1 and strikes once at least");
  std::regex target = compiled(fault.target);
  entries_.push_back({std::move(fault), std::move(target)});
}

std::optional<FaultAction> FaultList::take(const Request& request) {
  std::optional<FaultAction> action;
  for (Entry& entry : entries_) {
    const Fault& fault = entry.fault;
    if (!fault.method.empty() && fault.method != request.method) continue;
    if (!std::regex_search(request.target, entry.target)) continue;
    ++entry.matches;
    const bool due = entry.matches >= fault.first && entry.matches - fault.first < fault.times;
    if (!due || action) continue;
    entry.used = true;
    action = fault.action;
  }
  return action;
}

std::vector<std::string> FaultList::unused() const {
  std::vector<std::string> lines;
  for (const Entry& entry : entries_) {
    if (!entry.used) lines.push_back(description(entry.fault, entry.matches));
  }
  return lines;
}

}  // namespace sim
