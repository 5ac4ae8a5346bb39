// When the blob client gives up a transfer that is too slow.
#pragma once

namespace fault_matrix {

/// After a second instead of a minute, as long as this lives.
class ShortStallTime {
 public:
  ShortStallTime();
  ~ShortStallTime();
  ShortStallTime(const ShortStallTime&) = delete;
  ShortStallTime& operator=(const ShortStallTime&) = delete;
};

}  // namespace fault_matrix
