#include "host/saved_stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace host {

namespace {

constexpr std::uint64_t sector = 512;
constexpr std::uint64_t most_padding = 1U << 20U;

[[noreturn]] void refuse(const char* why) { throw DamagedStream(std::string("its stored stream is damaged: ") + why); }

}  // namespace

SavedStream::SavedStream(const SavedDisk& disk, TakeData take_data) : disk_(disk), take_data_(std::move(take_data)) {}

void SavedStream::take(const char* data, std::size_t size) {
  digest_.update(data, size);
  bytes_ += size;
  if (bytes_ > disk_.stream_bytes) refuse("it is longer than what was saved");
  Piece piece{data, size};
  take_header(piece);
  take_table(piece);
  take_padding(piece);
  take_ranges(piece);
}

void SavedStream::finish() {
  if (bytes_ != disk_.stream_bytes) {
    throw DamagedStream("its stored stream ends early: " + std::to_string(bytes_) + " bytes of " +
                        std::to_string(disk_.stream_bytes));
  }
  if (digest_.finish() != disk_.sha256) refuse("its SHA-256 is not the saved one");
}

void SavedStream::take_header(Piece& piece) {
  if (header_done_ == sizeof header_) return;
  const std::size_t count = std::min<std::size_t>(sizeof header_ - header_done_, piece.left);
  std::memcpy(reinterpret_cast<char*>(header_.data()) + header_done_, piece.next, count);
  piece = {piece.next + count, piece.left - count};
  header_done_ += count;
  if (header_done_ == sizeof header_) check_header();
}

// The table grows as its bytes come, so that a count costs no memory before there is anything behind it.
void SavedStream::take_table(Piece& piece) {
  if (piece.left == 0 || table_done_ == table_size()) return;
  const std::uint64_t count = std::min<std::uint64_t>(table_size() - table_done_, piece.left);
  table_.resize((table_done_ + count + sizeof(DataRange) - 1) / sizeof(DataRange));
  std::memcpy(reinterpret_cast<char*>(table_.data()) + table_done_, piece.next, count);
  piece = {piece.next + count, piece.left - count};
  table_done_ += count;
  if (table_done_ == table_size()) check_table();
}

void SavedStream::take_padding(Piece& piece) {
  const std::uint64_t count = std::min<std::uint64_t>(padding() - padding_done_, piece.left);
  piece = {piece.next + count, piece.left - count};
  padding_done_ += count;
}

// The table was found to be of exactly as many bytes as the stream may have, so there is a range for each that is left.
void SavedStream::take_ranges(Piece& piece) {
  while (piece.left > 0 && range_ < table_.size()) {
    const DataRange& range = table_[range_];
    const std::uint64_t count = std::min<std::uint64_t>(range.length - range_done_, piece.left);
    if (take_data_) take_data_(range.offset + range_done_, piece.next, count);
    piece = {piece.next + count, piece.left - count};
    range_done_ += count;
    if (range_done_ < range.length) return;
    ++range_;
    range_done_ = 0;
  }
}

// The disk's size bounds the number of ranges, and so no sum of these can overflow.
void SavedStream::check_header() const {
  if (display_size() != disk_.size || disk_.size % sector != 0) refuse("its header is of a disk of another size");
  if (range_count() > disk_.size / sector || padding() > most_padding) refuse("its header cannot be");
  if (range_count() == 0 && sizeof header_ + padding() != disk_.stream_bytes) refuse("it has data and no table");
}

void SavedStream::check_table() const {
  std::uint64_t end = 0;
  std::uint64_t data = 0;
  for (const DataRange& range : table_) {
    const bool fits = range.offset >= end && range.offset <= disk_.size && range.length > 0 &&
                      range.length <= disk_.size - range.offset;
    if (!fits || range.offset % sector != 0 || range.length % sector != 0)
      refuse("its table holds an impossible range");
    end = range.offset + range.length;
    data += range.length;
  }
  if (sizeof header_ + table_size() + padding() + data != disk_.stream_bytes) {
    refuse("its table does not fit its length");
  }
}

}  // namespace host
