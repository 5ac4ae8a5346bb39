// What the stream of a disk says of itself. It begins with a header of five numbers (64 bits, in the machine's byte
// order): bytes of header and range table, bytes of the disk, bytes in all ranges, number of ranges, bytes of padding.
// Then come the table (16 bytes a range), the padding and the ranges' data. Whether all of it came can be told from
// that, so that a stream that ends early is never taken for a disk.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace host {

class DiskStreamMeter {
 public:
  /// Takes the next bytes of the stream.
  void take(const char* data, std::size_t size);

  /// Bytes taken so far.
  std::uint64_t bytes() const { return bytes_; }
  /// Bytes of the whole stream as its header says; none: the header is not complete, or cannot be.
  std::optional<std::uint64_t> expected() const;
  /// Bytes of the disk that hold no data and are not in the stream; 0 before the header is complete.
  std::uint64_t skipped() const;
  /// Why what was taken is no whole stream of a disk of disk_size bytes; empty: it is one.
  std::string problem(std::uint64_t disk_size) const;

 private:
  enum Field : std::size_t { display = 1, allocated = 2, ranges = 3, padding = 4, field_count = 5 };
  static constexpr std::size_t header_size = field_count * sizeof(std::uint64_t);

  bool has_header() const { return bytes_ >= header_size; }
  std::uint64_t field(Field which) const;

  std::array<char, header_size> header_{};
  std::uint64_t bytes_ = 0;
};

}  // namespace host
