#include "storage/page_range_download.h"

#include <algorithm>
#include <array>

#include "storage/page_list.h"
#include "storage/wire.h"

namespace azurestoragewrapper {
namespace {

constexpr std::uint64_t kFirstWindow = std::uint64_t{16} << 30U;
constexpr std::uint64_t kSmallestWindow = std::uint64_t{4} << 20U;
constexpr std::size_t kFewRanges = 10'000;
constexpr std::size_t kManyRanges = 40'000;

// Whether the service may answer a smaller part of the same list: it, or a gateway before it, ran out of time.
bool is_too_much(const Failure& failure) {
  static constexpr std::array kTimedOut = {0, 408, 500, 503, 504};
  const bool status = std::find(kTimedOut.begin(), kTimedOut.end(), failure.http_status) != kTimedOut.end();
  return status && failure.retryable && failure.retry_after == 0 && failure.error_code != "ServerBusy";
}

void read_window(BlobClient& client, const PageRange& window, std::vector<PageRange>& ranges) {
  std::string marker;
  do {
    const std::string next = get_page_ranges(client, window, marker, ranges);
    if (!next.empty() && next == marker) {
      throw azurestorage_exception(Failure{.message = "the service's page list of " + client.access.described() +
                                                      " goes on at the place where it stands"});
    }
    marker = next;
  } while (!marker.empty());
}

// Windows that can be halved are asked once and halved at a failure; only the smallest one is asked again as it is.
bool try_window(BlobClient& client, const PageRange& window, std::vector<PageRange>& ranges) {
  const std::size_t before = ranges.size();
  BlobClient once = client;
  if (window.length > kSmallestWindow) once.options.most_repeats = 0;
  try {
    read_window(once, window, ranges);
  } catch (const azurestorage_exception& error) {
    if (window.length <= kSmallestWindow || !error.isRetryable()) throw;
    ranges.resize(before);
    if (is_too_much(error.failure())) {
      log_line(client.options, kLogWarning, std::string(error.what()) + "; asked again in halves");
      return false;
    }
    pause_before_repeat(client.options, error.failure(), 0);
    read_window(client, window, ranges);
  }
  client.fastest_answer_ms = once.fastest_answer_ms;
  return true;
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
    if (listed < kFewRanges) length *= 2;
    if (listed > kManyRanges) length = std::max(kSmallestWindow, length / 2);
  }
  normalise(ranges, blob_size);
  return ranges;
}

}  // namespace azurestoragewrapper
