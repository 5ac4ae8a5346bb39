// One line at the bottom of a terminal that is written over again and again.
#pragma once

#include <string>

#include "host/console.h"

namespace host {

class StatusLine {
 public:
  /// The console must outlive it.
  explicit StatusLine(const Console& console) : console_(console) {}

  /// Shows the text, cut to the terminal's width: a line that wraps could not be written over.
  void show(const std::string& text);
  /// Takes it away, before anything else is printed.
  void clear();

 private:
  const Console& console_;
  bool shown_ = false;
};

/// The first bytes of a UTF-8 text, at most limit of them, no character broken.
std::string first_bytes(const std::string& text, std::size_t limit);

}  // namespace host
