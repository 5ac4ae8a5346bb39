#include "sim/disk_content.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace sim {
namespace {

constexpr std::int64_t page = 4096;  // an Azure Stack keeps page blobs in pages of this size
constexpr std::int64_t mib = 1 << 20;
constexpr std::int64_t gib = 1 << 30;

std::int64_t whole_pages(std::int64_t bytes) { return bytes / page * page; }

std::vector<ByteRange> listed_ranges(ObjectReader& reader, std::int64_t disk_size) {
  std::vector<ByteRange> ranges;
  std::int64_t end = 0;
  reader.each("content", [&](ObjectReader& element) {
    const ByteRange range{element.number("offsetMB", 0) * mib, element.positive_number("sizeMB") * mib};
    if (range.offset < end) element.fail("offsetMB", "lies before the end of the range before it");
    if (range.size > disk_size - range.offset) element.fail("sizeMB", "reaches beyond the disk's end");
    ranges.push_back(range);
    end = range.offset + range.size;
  });
  return ranges;
}

/// Pieces of one size, the first one at the disk's start and the last one at its end.
std::vector<ByteRange> spread_ranges(ObjectReader& reader, std::int64_t disk_size) {
  const std::int64_t data = reader.positive_number("dataMB") * mib;
  const std::int64_t count = reader.positive_number("fragments", 16);
  if (data > disk_size) reader.fail("dataMB", "is more than the disk holds");
  if (data / count < page) reader.fail("fragments", "leaves less than 4 KiB for each");
  const std::int64_t size = whole_pages(data / count);
  std::vector<ByteRange> ranges;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::int64_t offset = count == 1 ? 0 : whole_pages((disk_size - size) / (count - 1) * i);
    ranges.push_back({offset, size});
  }
  return ranges;
}

/// The boot sector's track, a file system's first blocks, something in the middle and something near the end.
std::vector<ByteRange> usual_ranges(std::int64_t disk_size) {
  return {{0, page},
          {mib, mib},
          {whole_pages(disk_size / 3), 64 * page},
          {whole_pages(disk_size / 2), 2 * mib},
          {disk_size - mib, 16 * page}};
}

/// The mixing step of the generator splitmix64: neighbouring numbers give unlike ones.
std::uint64_t mixed(std::uint64_t value) {
  value += 0x9e3779b97f4a7c15U;
  value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
  value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
  return value ^ (value >> 31U);
}

/// FNV-1a.
std::uint64_t hash_of(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  return hash;
}

}  // namespace

DiskContent read_disk_content(ObjectReader& reader, std::int64_t size_gb) {
  const bool listed = reader.has("content");
  const bool spread = reader.has("dataMB");
  if (listed && spread) reader.fail("dataMB", "and content exclude each other");
  if (listed) return listed_ranges(reader, size_gb * gib);
  if (spread) return spread_ranges(reader, size_gb * gib);
  return std::nullopt;
}

std::vector<ByteRange> data_ranges(const DiskContent& content, std::int64_t disk_size) {
  return content ? *content : usual_ranges(disk_size);
}

std::string disk_data(std::string_view disk_name, std::int64_t offset, std::int64_t size) {
  const std::uint64_t seed = hash_of(disk_name);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  for (std::size_t i = 0; i + 8 <= bytes.size(); i += 8) {
    const std::uint64_t word = mixed(seed + (static_cast<std::uint64_t>(offset) + i) / 8);
    std::memcpy(bytes.data() + i, &word, sizeof word);
  }
  return bytes;
}

}  // namespace sim
