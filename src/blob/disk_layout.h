// What stands in front of a disk's data in its image: sizes, and which ranges of the disk the image holds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "aapi/aapi.h"
#include "src/base/status.h"
#include "storage/page_blob.h"

namespace azurestackpi {

/// The first 40 bytes of a disk's image, in native byte order. Sizes in bytes.
struct sparse_header_t {
  std::uint64_t metadata_size = 0;     // of this header and the range table
  std::uint64_t display_size = 0;      // of the disk
  std::uint64_t allocated_size = 0;    // of all ranges
  std::uint64_t number_of_ranges = 0;  // entries of the range table behind this header
  std::uint64_t padding = 0;           // zero bytes behind the range table
};
static_assert(sizeof(sparse_header_t) == 40);

/// Padding brings the metadata size to a multiple of this; where it is one already, a whole unit follows.
inline constexpr std::uint64_t kPaddingUnit = 131072;

constexpr std::uint64_t PaddingFor(std::uint64_t metadata_size) { return kPaddingUnit - metadata_size % kPaddingUnit; }

/// Header and range table; the table has number_of_ranges entries of (offset, length), 16 bytes each.
struct DiskLayout {
  sparse_header_t header;
  std::vector<azurestoragewrapper::PageRange> ranges;
};

/// The layout of a blob or snapshot as the service tells it. Returns 0; 2 for a failure, the layout all zeros then.
Status DownloadPageRanges(azurestoragewrapper::page_blob& blob, DiskLayout& layout);

/// Reads header, range table and padding of an image, and leaves the file at its data. Returns 0; 6601 for a file that
/// ends before or that holds no image (a padding that no image has); 6602 when memory is short. Trusts no count: takes
/// no more memory than the file fills.
Status ReadMetadataFromFile(int file_descriptor, DiskLayout& layout);

/// Size of the disk at uri in bytes. Returns 0, the status of GetConnection, 2 when the service could not tell, or
/// 6622.
Status GetVhdSize(const std::string& uri, std::uint64_t& size);

/// The same of a blob or snapshot at hand. Returns 0 or 2.
Status GetVhdSizeByBlobRef(azurestoragewrapper::page_blob& blob, std::uint64_t& size);

}  // namespace azurestackpi
