#include "host/disk_stream.h"

#include <algorithm>
#include <cstring>

namespace host {

namespace {

constexpr std::uint64_t range_entry = 16;
constexpr std::uint64_t most_padding = 1U << 20U;

}  // namespace

void DiskStreamMeter::take(const char* data, std::size_t size) {
  if (!has_header()) {
    const std::size_t room = header_.size() - static_cast<std::size_t>(bytes_);
    std::copy_n(data, std::min(room, size), header_.data() + bytes_);
  }
  bytes_ += size;
}

// Limits first, so that no sum of what the header says can overflow.
std::optional<std::uint64_t> DiskStreamMeter::expected() const {
  if (!has_header()) return std::nullopt;
  const std::uint64_t disk = field(display);
  const bool possible = disk < (std::uint64_t{1} << 60U) && field(allocated) <= disk && field(ranges) <= disk &&
                        field(padding) <= most_padding;
  if (!possible) return std::nullopt;
  return header_size + field(ranges) * range_entry + field(padding) + field(allocated);
}

std::uint64_t DiskStreamMeter::skipped() const { return expected() ? field(display) - field(allocated) : 0; }

std::string DiskStreamMeter::problem(std::uint64_t disk_size) const {
  const auto whole = expected();
  if (!whole) return has_header() ? "its stream has an impossible header" : "its stream ends within the header";
  if (field(display) != disk_size) {
    return "its stream is of a disk of " + std::to_string(field(display)) + " bytes, not " + std::to_string(disk_size);
  }
  if (*whole == bytes_) return "";
  return "its stream has " + std::to_string(bytes_) + " bytes of " + std::to_string(*whole);
}

std::uint64_t DiskStreamMeter::field(Field which) const {
  std::uint64_t value = 0;
  std::memcpy(&value, header_.data() + which * sizeof value, sizeof value);
  return value;
}

}  // namespace host
