// Workload files, the outcome of a discovery, read by the host itself: the reader that the library exports does not
// tell a file that breaks off within a record from one that ends after it.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace host {

/// The file cannot be read, or is not what a discovery writes. The text names it.
class WorkloadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Hands every record's text to take, in order. A record is its length (8 bytes in the machine's byte order, the NUL
/// counted) and a text that ends in the only NUL in it; there is nothing else in the file. Throws WorkloadError; what
/// was read before that has been handed out.
void read_workload_file(const std::string& path, const std::function<void(std::string_view)>& take);

}  // namespace host
