#include "sim/vhd_footer.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "sim/derived_text.h"
#include "sim/resources.h"

namespace sim {
namespace {

constexpr std::size_t footer_size = vhd_footer_size;

// Where the fields stand. All numbers are big-endian.
constexpr std::size_t current_size_at = 48;
constexpr std::size_t type_at = 60;
constexpr std::size_t checksum_at = 64;
constexpr std::uint64_t fixed_disk = 2;
constexpr std::string_view cookie = "conectix";
constexpr std::int64_t time_origin = 946'684'800;  // 2000-01-01

std::string big_endian(std::uint64_t value, std::size_t bytes) {
  std::string text(bytes, '\0');
  for (std::size_t i = bytes; i-- > 0; value >>= 8U) text[i] = static_cast<char>(value & 255U);
  return text;
}

std::uint64_t number_at(std::string_view footer, std::size_t at, std::size_t bytes) {
  std::uint64_t value = 0;
  for (const char c : footer.substr(at, bytes)) value = value << 8U | static_cast<unsigned char>(c);
  return value;
}

/// The one's complement of the sum of all bytes but the checksum's own.
std::uint64_t checksum(std::string footer) {
  footer.replace(checksum_at, 4, 4, '\0');
  const auto sum = std::accumulate(footer.begin(), footer.end(), std::uint32_t{0},
                                   [](std::uint32_t total, char c) { return total + static_cast<unsigned char>(c); });
  return static_cast<std::uint32_t>(~sum);
}

/// Cylinders, heads and sectors, as the format's own description derives them from the number of sectors.
std::string geometry(std::uint64_t sectors) {
  sectors = std::min<std::uint64_t>(sectors, 65535ULL * 16 * 255);
  std::uint64_t per_track = 17;
  std::uint64_t tracks = sectors / per_track;
  std::uint64_t heads = std::max<std::uint64_t>((tracks + 1023) / 1024, 4);
  if (tracks >= heads * 1024 || heads > 16) {
    per_track = 31;
    heads = 16;
    tracks = sectors / per_track;
  }
  if (tracks >= heads * 1024) {
    per_track = 63;
    heads = 16;
    tracks = sectors / per_track;
  }
  if (sectors >= 65535ULL * 16 * 63) {
    per_track = 255;
    heads = 16;
    tracks = sectors / per_track;
  }
  return big_endian(tracks / heads, 2) + big_endian(heads, 1) + big_endian(per_track, 1);
}

/// The 16 bytes that a GUID's digits stand for.
std::string id_bytes(const std::string& guid) {
  std::string digits = guid;
  digits.erase(std::remove(digits.begin(), digits.end(), '-'), digits.end());
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

}  // namespace

std::string vhd_footer(std::string_view disk_name, std::int64_t disk_size) {
  const auto size = static_cast<std::uint64_t>(disk_size);
  std::string footer(cookie);
  footer += big_endian(2, 4);        // features: the reserved bit, which is always set
  footer += big_endian(0x10000, 4);  // version 1.0
  footer += std::string(8, '\xff');  // no further header: only dynamic disks have one
  footer += big_endian(static_cast<std::uint64_t>(world_creation_time - time_origin), 4);
  footer += "win " + big_endian(0x60001, 4) + "Wi2k";   // the creator: Azure's own disks are made by Windows
  footer += big_endian(size, 8) + big_endian(size, 8);  // original and current
  footer += geometry(size / 512);
  footer += big_endian(fixed_disk, 4) + big_endian(0, 4);
  footer += id_bytes(guid_of("VHD of " + std::string(disk_name)));
  footer.resize(footer_size);
  return footer.replace(checksum_at, 4, big_endian(checksum(footer), 4));
}

std::string fixed_vhd_flaw(std::string_view last_bytes, std::int64_t file_size) {
  if (last_bytes.size() != footer_size || !last_bytes.starts_with(cookie)) return "its footer has no VHD cookie";
  if (number_at(last_bytes, checksum_at, 4) != checksum(std::string(last_bytes))) return "its footer is damaged";
  if (number_at(last_bytes, type_at, 4) != fixed_disk) return "it is not of the fixed type";
  if (number_at(last_bytes, current_size_at, 8) != static_cast<std::uint64_t>(file_size - vhd_footer_size)) {
    return "its footer tells another size than the blob has";
  }
  return "";
}

}  // namespace sim
