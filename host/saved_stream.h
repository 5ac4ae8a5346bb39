// The stream of a saved disk as it comes back out of the repository (disk_stream.h tells its form): checked while it
// passes, and taken apart into the places of the disk that its bytes belong to.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <vector>

#include "host/manifest.h"
#include "host/sha256.h"

namespace host {

/// The stream is not the one that was saved. The text says in what it differs.
class DamagedStream : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A part of a disk that holds data.
struct DataRange {
  std::uint64_t offset = 0;  // on the disk
  std::uint64_t length = 0;  // bytes
};

class SavedStream {
 public:
  /// Takes bytes of the disk, in ascending order of their offset.
  using TakeData = std::function<void(std::uint64_t offset, const char* data, std::size_t size)>;

  /// disk must outlive the stream. Without take_data the stream is only checked.
  explicit SavedStream(const SavedDisk& disk, TakeData take_data = {});

  /// Takes the next bytes of the stream. Throws DamagedStream as soon as it shows that the whole cannot be what the
  /// manifest tells: header and table are judged before any byte of data is.
  void take(const char* data, std::size_t size);

  /// All came; throws DamagedStream unless it is the very stream, by its SHA-256. Once.
  void finish();

  /// Bytes taken so far.
  std::uint64_t bytes() const { return bytes_; }

  /// The table: whole and sound when TakeData is called first, or after finish(). In ascending order.
  const std::vector<DataRange>& ranges() const { return table_; }

 private:
  /// What is left of a piece.
  struct Piece {
    const char* next;
    std::size_t left;
  };

  std::uint64_t display_size() const { return header_[1]; }
  std::uint64_t range_count() const { return header_[3]; }
  std::uint64_t padding() const { return header_[4]; }
  std::uint64_t table_size() const { return range_count() * sizeof(DataRange); }

  void take_header(Piece& piece);
  void take_table(Piece& piece);
  void take_padding(Piece& piece);
  void take_ranges(Piece& piece);
  void check_header() const;
  void check_table() const;

  const SavedDisk& disk_;
  TakeData take_data_;
  Sha256 digest_;
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
