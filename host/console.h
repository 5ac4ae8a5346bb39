// The program's own output. The plug-in prints to its host's descriptors 1 and 2 (facts of disks, keep-alive newlines);
// so that nothing of this ends in a pipe or on the operator's screen, those two are moved aside and the log file
// stands in their place while a Console lives.
#pragma once

#include <cstddef>
#include <string_view>

#include "host/file_descriptor.h"

namespace host {

class Console {
 public:
  /// Moves the descriptors 1 and 2 aside and puts log_descriptor (not owned) in their place. Children inherit the log
  /// file, not the moved descriptors. Throws std::system_error.
  explicit Console(int log_descriptor);
  /// Puts both back.
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// Writes to what was standard output, unbuffered. Throws std::system_error when it cannot: a result that nobody
  /// received is not a success.
  void print(std::string_view text) const;
  /// The same for what was standard error.
  void print_error(std::string_view text) const;

  /// Whether somebody watches what print_error writes.
  bool error_is_terminal() const;
  /// Columns of that terminal; 80 when it does not tell.
  std::size_t error_width() const;

 private:
  FileDescriptor output_;
  FileDescriptor error_;
};

}  // namespace host
