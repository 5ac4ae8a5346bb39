// The stream of a disk, taken apart while it passes. It begins with a header of five numbers (64 bits, in the machine's
// byte order): bytes of header and range table, bytes of the disk, bytes in all ranges, number of ranges, bytes of
// padding. Then come the table (offset and length of each range), the padding and the ranges' data. Whether all of it
// came can be told from that, so that a stream that ends early is never taken for a disk.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <vector>

namespace host {

/// The stream is not the one that it should be. The text says in what it differs.
class DamagedStream : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A part of a disk that holds data.
struct DataRange {
  std::uint64_t offset = 0;  // on the disk
  std::uint64_t length = 0;  // bytes
};

class DiskStream {
 public:
  /// Takes bytes of the disk, in ascending order of their offset.
  using TakeData = std::function<void(std::uint64_t offset, const char* data, std::size_t size)>;

  /// Without take_data the stream is only checked.
  explicit DiskStream(std::uint64_t disk_size, TakeData take_data = {});

  /// Takes the next bytes of the stream. Throws DamagedStream as soon as it shows that it is none of a disk of that
  /// size: header and table are judged before any byte of data is.
  void take(const char* data, std::size_t size);

  /// All came; throws DamagedStream unless the stream is whole.
  void finish() const;

  /// Bytes taken so far.
  std::uint64_t bytes() const { return bytes_; }
  /// Bytes of the whole stream as its header says; none: the header is not complete.
  std::optional<std::uint64_t> expected() const;
  /// Bytes of the disk that hold no data and are not in the stream; 0 before the header is complete.
  std::uint64_t skipped() const;
  /// The table: whole and sound when TakeData is called first, or after finish(). In ascending order.
  const std::vector<DataRange>& ranges() const { return table_; }

 private:
  /// What is left of a piece.
  struct Piece {
    const char* next;
    std::size_t left;
  };

  bool has_header() const { return header_done_ == sizeof header_; }
  std::uint64_t display_size() const { return header_[1]; }
  std::uint64_t allocated() const { return header_[2]; }
  std::uint64_t range_count() const { return header_[3]; }
  std::uint64_t padding() const { return header_[4]; }
  std::uint64_t table_size() const { return range_count() * sizeof(DataRange); }

  void take_header(Piece& piece);
  void take_table(Piece& piece);
  void take_padding(Piece& piece);
  void take_ranges(Piece& piece);
  void check_header() const;
  void check_table() const;

  std::uint64_t disk_size_;
  TakeData take_data_;
  std::uint64_t bytes_ = 0;
  std::array<std::uint64_t, 5> header_{};
  std::uint64_t header_done_ = 0;
  std::vector<DataRange> table_;
  std::uint64_t table_done_ = 0;
  std::uint64_t padding_done_ = 0;
  std::size_t range_ = 0;
  std::uint64_t range_done_ = 0;
};

}  // namespace host
