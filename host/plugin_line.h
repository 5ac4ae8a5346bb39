// A log line of the plug-in: "FUNCTION: TEXT".
#pragma once

#include <string_view>

namespace host {

/// Looking at the text's beginning keeps answers of servers, which stand within lines, from being taken for the
/// plug-in's own words.
struct LineParts {
  std::string_view function;  // empty when the line has no such part
  std::string_view text;
};

/// The parts point into line.
LineParts take_apart(std::string_view line);

inline bool starts_with(std::string_view text, std::string_view mark) { return text.substr(0, mark.size()) == mark; }

}  // namespace host
