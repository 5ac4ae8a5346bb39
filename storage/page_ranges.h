// Which pages of a page blob hold data.
#pragma once

#include <cstdint>
#include <vector>

namespace azurestoragewrapper {

/// Bytes of a page blob that hold data.
struct PageRange {
  std::uint64_t offset;
  std::uint64_t length;
  bool operator==(const PageRange&) const = default;
};
static_assert(sizeof(PageRange) == 16);

/// The size of a page blob and the ranges that hold data: the first two parts of a disk's image. The five words stand
/// first and in this order, all in bytes but the count.
struct azurestoragewrapper_VHD_Metadata {
  std::uint64_t metadata_size = 0;     // of the five words and the ranges: 40 + 16 for each range
  std::uint64_t display_size = 0;      // length of the blob
  std::uint64_t allocated_size = 0;    // sum of the ranges' lengths
  std::uint64_t number_of_ranges = 0;  // that of `ranges`
  std::uint64_t padding = 0;           // left 0 by the client
  std::vector<PageRange> ranges;       // by offset, none empty, none touching the next
};

}  // namespace azurestoragewrapper
