// The whole list of a blob's pages that hold data, asked for piece by piece.
#pragma once

#include <cstdint>
#include <vector>

#include "storage/blob_client.h"
#include "storage/page_ranges.h"

namespace azurestoragewrapper {

/// All ranges of a blob of that size, as azurestoragewrapper_VHD_Metadata has them. Asked in windows of the blob, so
/// that the list of a fragmented disk does not take longer than the service allows for one answer: a window grows while
/// it lists few ranges and shrinks when it lists many, and one that takes too long is asked again in halves.
std::vector<PageRange> download_all_page_ranges(BlobClient& client, std::uint64_t blob_size);

}  // namespace azurestoragewrapper
