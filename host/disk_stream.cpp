#include "host/disk_stream.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace host {

namespace {

constexpr std::uint64_t sector = 512;
constexpr std::uint64_t most_padding = 1U << 20U;

[[noreturn]] void refuse(const std::string& why) { throw DamagedStream("its stream is damaged: " + why); }

}  // namespace

DiskStream::DiskStream(std::uint64_t disk_size, TakeData take_data)
    : disk_size_(disk_size), take_data_(std::move(take_data)) {}

void DiskStream::take(const char* data, std::size_t size) {
  bytes_ += size;
  Piece piece{data, size};
  take_header(piece);
  take_table(piece);
  take_padding(piece);
  take_ranges(piece);
  if (piece.left > 0) refuse("it is longer than the disk's");
}

void DiskStream::finish() const {
  const auto whole = expected();
  if (!whole) throw DamagedStream("its stream ends within the header");
  if (bytes_ == *whole) return;
  throw DamagedStream("its stream ends early: " + std::to_string(bytes_) + " bytes of " + std::to_string(*whole));
}

std::optional<std::uint64_t> DiskStream::expected() const {
  if (!has_header()) return std::nullopt;
  return sizeof header_ + table_size() + padding() + allocated();
}

std::uint64_t DiskStream::skipped() const { return has_header() ? display_size() - allocated() : 0; }

void DiskStream::take_header(Piece& piece) {
  if (has_header()) return;
  const std::size_t count = std::min<std::size_t>(sizeof header_ - header_done_, piece.left);
  std::memcpy(reinterpret_cast<char*>(header_.data()) + header_done_, piece.next, count);
  piece = {piece.next + count, piece.left - count};
  header_done_ += count;
  if (has_header()) check_header();
}

// The table grows as its bytes come, so that a count costs no memory before there is anything behind it.
void DiskStream::take_table(Piece& piece) {
  if (piece.left == 0 || table_done_ == table_size()) return;
  const std::uint64_t count = std::min<std::uint64_t>(table_size() - table_done_, piece.left);
  table_.resize((table_done_ + count + sizeof(DataRange) - 1) / sizeof(DataRange));
  std::memcpy(reinterpret_cast<char*>(table_.data()) + table_done_, piece.next, count);
  piece = {piece.next + count, piece.left - count};
  table_done_ += count;
  if (table_done_ == table_size()) check_table();
}

void DiskStream::take_padding(Piece& piece) {
  const std::uint64_t count = std::min<std::uint64_t>(padding() - padding_done_, piece.left);
  piece = {piece.next + count, piece.left - count};
  padding_done_ += count;
}

void DiskStream::take_ranges(Piece& piece) {
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
void DiskStream::check_header() const {
  if (display_size() != disk_size_ || disk_size_ % sector != 0) {
    refuse("its header is of a disk of " + std::to_string(display_size()) + " bytes, not " +
           std::to_string(disk_size_));
  }
  if (range_count() > disk_size_ / sector || allocated() > disk_size_ || padding() > most_padding) {
    refuse("its header cannot be");
  }
  if (range_count() == 0 && allocated() != 0) refuse("it has data and no table");
}

void DiskStream::check_table() const {
  std::uint64_t end = 0;
  std::uint64_t data = 0;
  for (const DataRange& range : table_) {
    const bool fits = range.offset >= end && range.offset <= disk_size_ && range.length > 0 &&
                      range.length <= disk_size_ - range.offset;
    if (!fits || range.offset % sector != 0 || range.length % sector != 0) {
      refuse("its table holds an impossible range");
    }
    end = range.offset + range.length;
    data += range.length;
  }
  if (data != allocated()) refuse("its table does not fit its header");
}

}  // namespace host
