#include "storage/page_range_download.h"

#include <algorithm>

#include "storage/page_list.h"
#include "storage/page_walk.h"
#include "storage/wire.h"

namespace azurestoragewrapper {
namespace {

constexpr std::uint64_t kFirstWindow = std::uint64_t{16} << 30U;
constexpr std::uint64_t kSmallestWindow = std::uint64_t{4} << 20U;
constexpr std::uint64_t kLargestWindow = std::uint64_t{1} << 40U;
constexpr std::size_t kFewRanges = 10'000;
constexpr std::size_t kManyRanges = 40'000;

// Only what lies in the window counts: the next window lists the rest.
void cut_to_window(std::vector<PageRange>& ranges, std::size_t first, const PageRange& window) {
  const std::uint64_t end = window.offset + window.length;
  std::size_t kept = first;
  for (std::size_t i = first; i < ranges.size(); ++i) {
    const std::uint64_t from = std::max(ranges[i].offset, window.offset);
    const std::uint64_t to = std::min(ranges[i].offset + ranges[i].length, end);
    if (from < to) ranges[kept++] = {from, to - from};
  }
  ranges.resize(kept);
}

void read_window(BlobClient& client, const PageRange& window, std::vector<PageRange>& ranges) {
  walk_pages("the page list of " + client.access.described(), [&](const std::string& marker) {
    keep_alive(client.options, "download_page_ranges");
    const std::size_t before = ranges.size();
    std::string next = get_page_ranges(client, window, marker, ranges);
    cut_to_window(ranges, before, window);
    return next;
  });
}

// Returns false, with nothing appended, when the window is too much for one answer and can be asked in halves.
bool try_window(BlobClient& client, const PageRange& window, std::vector<PageRange>& ranges) {
  const std::size_t before = ranges.size();
  BlobClient once = client;
  once.options.most_repeats = 0;
  for (int repeats = 0;; ++repeats) {
    try {
      read_window(once, window, ranges);
      client.fastest_answer_ms = once.fastest_answer_ms;
      return true;
    } catch (const azurestorage_exception& error) {
      ranges.resize(before);
      if (error.failure().timed_out && window.length > kSmallestWindow) {
        log_line(client.options, kLogWarning, std::string(error.what()) + "; asked again in halves");
        return false;
      }
      if (!may_repeat(client.options, Repeat::always, error.failure(), repeats)) throw;
      pause_before_repeat(client.options, error.failure(), repeats);
    }
  }
}

}  // namespace

std::vector<PageRange> download_all_page_ranges(BlobClient& client, std::uint64_t blob_size) {
  std::vector<PageRange> ranges;
  std::uint64_t length = kFirstWindow;
  for (std::uint64_t offset = 0; offset < blob_size;) {
    const PageRange window{offset, std::min(length, blob_size - offset)};
    const std::size_t before = ranges.size();
    if (!try_window(client, window, ranges)) {
      // Not below what is asked as it is; a multiple of the unit that every service's pages fit into.
      length = std::max(kSmallestWindow, window.length / 2 / kSmallestWindow * kSmallestWindow);
      continue;
    }
    offset += window.length;
    const std::size_t listed = ranges.size() - before;
    if (listed < kFewRanges) length = std::min(length * 2, kLargestWindow);
    if (listed > kManyRanges) length = std::max(kSmallestWindow, length / 2);
  }
  normalise(ranges, blob_size);
  return ranges;
}

}  // namespace azurestoragewrapper
