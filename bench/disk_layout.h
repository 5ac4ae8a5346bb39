// Made-up disks: which of their bytes hold data, and how a caller reads or writes those.
#pragma once

#include <cstdint>
#include <vector>

#include "storage/page_ranges.h"

namespace bench {

using azurestoragewrapper::PageRange;

constexpr std::uint64_t kKib = 1024;
constexpr std::uint64_t kMib = 1024 * kKib;
constexpr std::uint64_t kGib = 1024 * kMib;
constexpr std::uint64_t kTib = 1024 * kGib;
constexpr std::uint64_t kBlock = 4 * kMib;  // the most that a caller reads or writes at once

/// Ranges of 64 KiB to 32 MiB, small ones as frequent as large ones are big, with gaps of the same kind between them,
/// that hold `bytes` in all; the same on every run.
std::vector<PageRange> MixedRanges(std::uint64_t bytes);

/// `count` ranges of `length` bytes, evenly spread over a disk of `size` bytes; the last ends with the disk.
std::vector<PageRange> SpreadRanges(std::size_t count, std::uint64_t length, std::uint64_t size);

/// The pieces of at most 4 MiB in which a caller takes the ranges.
std::vector<PageRange> CutIntoBlocks(const std::vector<PageRange>& ranges);

std::uint64_t TotalLength(const std::vector<PageRange>& ranges);

}  // namespace bench
