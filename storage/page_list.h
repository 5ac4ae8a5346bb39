// The service's list of the pages that hold data.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "storage/page_ranges.h"

namespace azurestoragewrapper {

/// Appends the ranges of a page list to `ranges` as they stand in it, those that hold zeros (ClearRange) left out.
/// Returns the marker of the next page, empty on the last. Throws azurestorage_exception when the text is no page list
/// or a range ends before it begins.
std::string parse_page_list(std::string_view xml, std::vector<PageRange>& ranges);

/// Sorts the ranges, merges those that touch or overlap, and cuts what lies beyond the blob's end.
void normalise(std::vector<PageRange>& ranges, std::uint64_t blob_size);

}  // namespace azurestoragewrapper
