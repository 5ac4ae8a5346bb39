#include "sim/letter_case.h"

#include <algorithm>

namespace sim {
namespace {

// Not std::tolower, which asks the locale: these run for every letter of every path.
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string changed(std::string_view text, char (*change)(char)) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), change);
  return result;
}

}  // namespace

bool equal_ignoring_case(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lower(a) == lower(b); });
}

std::string lower_case(std::string_view text) { return changed(text, lower); }
std::string upper_case(std::string_view text) { return changed(text, upper); }

bool LessIgnoringCase::operator()(std::string_view left, std::string_view right) const {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [](char a, char b) { return lower(a) < lower(b); });
}

}  // namespace sim
