// Lists that the service gives in pages, each with the marker of the next.
#pragma once

#include <set>
#include <string>

#include "storage/azurestorage_exception.h"

namespace azurestoragewrapper {

/// Calls fetch(marker), which returns the next marker, from the empty one on until it is empty again. Throws when a
/// marker comes back, or when the list does not end. what: the list, for a message.
template <typename Fetch>
void walk_pages(const std::string& what, const Fetch& fetch) {
  constexpr std::size_t kMostPages = 100'000;
  std::set<std::string> asked;
  std::string marker;
  do {
    asked.insert(marker);
    marker = fetch(marker);
    if (!marker.empty() && (asked.contains(marker) || asked.size() >= kMostPages)) {
      throw azurestorage_exception(Failure{.message = what + " goes on without an end"});
    }
  } while (!marker.empty());
}

}  // namespace azurestoragewrapper
