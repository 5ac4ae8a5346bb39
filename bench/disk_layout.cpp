#include "bench/disk_layout.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "bench/repeatable_random.h"

namespace bench {

std::vector<PageRange> MixedRanges(std::uint64_t bytes) {
  constexpr std::uint64_t kUnit = 64 * kKib;
  constexpr double kMostDoublings = 9;  // 1 to 512 units
  RepeatableRandom random;
  const auto draw = [&] {
    return kUnit * static_cast<std::uint64_t>(std::exp2(kMostDoublings * random.NextFraction()));
  };
  std::vector<PageRange> ranges;
  std::uint64_t at = 0;
  for (std::uint64_t left = bytes; left > 0;) {
    const std::uint64_t length = std::min(draw(), left);
    ranges.push_back({at, length});
    left -= length;
    at += length + draw();
  }
  return ranges;
}

std::vector<PageRange> SpreadRanges(std::size_t count, std::uint64_t length, std::uint64_t size) {
  std::vector<PageRange> ranges;
  const std::uint64_t stride = size / count / 4096 * 4096;
  for (std::size_t i = 1; i < count; ++i) ranges.push_back({i * stride - length, length});
  ranges.push_back({size - length, length});
  return ranges;
}

std::vector<PageRange> CutIntoBlocks(const std::vector<PageRange>& ranges) {
  std::vector<PageRange> blocks;
  for (const PageRange& range : ranges) {
    for (std::uint64_t done = 0; done < range.length; done += kBlock) {
      blocks.push_back({range.offset + done, std::min(kBlock, range.length - done)});
    }
  }
  return blocks;
}

std::uint64_t TotalLength(const std::vector<PageRange>& ranges) {
  return std::accumulate(ranges.begin(), ranges.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const PageRange& range) { return sum + range.length; });
}

}  // namespace bench
