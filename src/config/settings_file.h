// Reading of the two key=value files that a host names: the configuration and the credentials store.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace azurestackpi {

/// Longest line that is read, in bytes without its end; the rest of a longer one is dropped.
inline constexpr std::size_t kLongestSettingLine = 4095;

struct SettingLine {
  std::string section;  // the text between the brackets of the last "[...]" line; empty before the first
  std::string key;      // without blanks around it
  std::string value;    // without blanks around it; empty when nothing follows the "="
  std::size_t number;   // line number from 1
  bool cut;             // the line was longer than kLongestSettingLine
};

/// Calls take for every key=value line in order. Lines that begin with "#" or ";" and lines without "=" are passed
/// over; a line's end is \n or \r\n; a NUL byte ends a line's text. Sections are told apart only when asked for.
/// Returns false when the file cannot be opened and read (a directory, say): take may then have seen a beginning of it.
bool ReadSettings(const std::string& path, bool with_sections, const std::function<void(const SettingLine&)>& take);

}  // namespace azurestackpi
