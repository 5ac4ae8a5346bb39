#include "storage/blob_read_stream.h"

#include <algorithm>
#include <cstring>

#include "platform/clock.h"
#include "storage/wire.h"

namespace azurestoragewrapper {

/// A part of the blob that was asked for. What the reader waits for goes straight to the reader, every other byte into
/// a buffer of the piece.
struct BlobReadStream::Piece {
  PageRange place;
  std::unique_ptr<Transfer> transfer;
  Request request = {};
  std::uint64_t asked_from = 0;         // first byte of the place that the running request asks for
  std::unique_ptr<std::byte[]> buffer;  // of place.length bytes and more; made when first needed
  std::size_t received = 0;             // bytes of the place that came
  std::size_t delivered = 0;            // bytes of the place that the reader has
  std::span<std::byte> reader = {};     // where the next bytes go; empty while nobody waits for them
  int repeats = 0;
  bool running = false;
  std::optional<Failure> failure;

  bool complete() const { return received == place.length; }
  std::uint64_t end() const { return place.offset + place.length; }
};

BlobReadStream::BlobReadStream(BlobClient client, std::span<const PageRange> ranges, std::uint64_t size)
    : client_(std::move(client)),
      ranges_(ranges),
      size_(size),
      wait_(client_.fastest_answer_ms, client_.options.requests_in_flight),
      group_([this](Transfer& transfer, CURLcode result) { finished(transfer, result); }) {
  spare_buffers_.reserve(kMostRequestsInFlight);
  spare_transfers_.reserve(kMostRequestsInFlight);
}

BlobReadStream::~BlobReadStream() { drop_all(); }

void BlobReadStream::close() {
  drop_all();
  spare_transfers_.clear();
  spare_buffers_.clear();
  closed_ = true;
}

void BlobReadStream::seek(std::uint64_t offset) {
  if (closed_) throw azurestorage_exception(Failure{.message = "a closed stream cannot be moved"});
  position_ = offset;
}

std::size_t BlobReadStream::read(std::byte* buffer, std::size_t size) {
  if (closed_) throw azurestorage_exception(Failure{.message = "a closed stream cannot be read"});
  if (size == 0 || position_ >= size_) return 0;
  try {
    const std::size_t count = read_here(buffer, size);
    position_ += count;
    return count;
  } catch (...) {
    drop_all();  // whatever state the pieces are in: the next read asks anew
    throw;
  }
}

std::size_t BlobReadStream::read_here(std::byte* buffer, std::size_t size) {
  Piece& piece = front_at_position(size);
  fill_window();
  const std::size_t count = deliver(piece, buffer, size);
  if (piece.delivered == piece.place.length) {
    drop_front();
    fill_window();  // so that the service is at work while the caller is
    group_.run();
  }
  return count;
}

// The piece that the position lies in, asked for now when it is not on its way.
BlobReadStream::Piece& BlobReadStream::front_at_position(std::size_t size) {
  while (!window_.empty() && window_.front()->end() <= position_) drop_front();
  const bool fits = !window_.empty() && window_.front()->place.offset + window_.front()->delivered == position_;
  if (fits) return *window_.front();
  drop_all();
  place_plan(position_);
  const bool planned = plan_range_ < ranges_.size() && ranges_[plan_range_].offset + plan_done_ == position_;
  if (!planned) {
    // Between the ranges, or without any: what is read and no more, up to the next range.
    std::uint64_t end = std::min<std::uint64_t>(size_, position_ + std::min(size, kLongestPiece));
    if (plan_range_ < ranges_.size()) end = std::min(end, ranges_[plan_range_].offset);
    append_piece({position_, end - position_});
  } else {
    append_piece(*next_piece());
  }
  return *window_.front();
}

// Sets the plan to the first byte of a range at or behind the position.
void BlobReadStream::place_plan(std::uint64_t position) {
  const auto ends_by = [](const PageRange& range, std::uint64_t place) { return range.offset + range.length <= place; };
  const auto found = std::lower_bound(ranges_.begin(), ranges_.end(), position, ends_by);
  plan_range_ = static_cast<std::size_t>(found - ranges_.begin());
  plan_done_ = found != ranges_.end() && found->offset < position ? position - found->offset : 0;
}

std::optional<PageRange> BlobReadStream::next_piece() {
  if (plan_range_ == ranges_.size()) return std::nullopt;
  const PageRange& range = ranges_[plan_range_];
  const PageRange piece{range.offset + plan_done_, std::min<std::uint64_t>(kLongestPiece, range.length - plan_done_)};
  plan_done_ += piece.length;
  if (plan_done_ == range.length) {
    ++plan_range_;
    plan_done_ = 0;
  }
  return piece;
}

void BlobReadStream::fill_window() {
  const std::size_t most = wait_.requests_in_flight();
  // A failure stops the asking ahead until the reader comes to it.
  const auto failed = [](const std::unique_ptr<Piece>& piece) { return piece->failure.has_value(); };
  if (std::any_of(window_.begin(), window_.end(), failed)) return;
  while (window_.size() < most && window_bytes_ + kLongestPiece <= kMostBytesInFlight) {
    const auto place = next_piece();
    if (!place) return;
    append_piece(*place);
  }
}

void BlobReadStream::append_piece(const PageRange& place) {
  auto piece = std::make_unique<Piece>();
  piece->place = place;
  if (spare_transfers_.empty()) {
    piece->transfer = std::make_unique<Transfer>(Transfer::Connections::own);
  } else {
    piece->transfer = std::move(spare_transfers_.back());
    spare_transfers_.pop_back();
  }
  window_bytes_ += place.length;
  window_.push_back(std::move(piece));
  start(*window_.back());
}

// Asks for what has not come of the piece.
void BlobReadStream::start(Piece& piece) {
  piece.failure.reset();
  piece.asked_from = piece.received;
  piece.request = get_range_request({piece.place.offset + piece.received, piece.place.length - piece.received});
  const auto sink = [this, &piece](std::span<const std::byte> bytes) { return take(piece, bytes); };
  piece.transfer->prepare(client_.access.sign(piece.request, platform::clock().now(), client_.options.api_version),
                          piece.request, client_.options, sink);
  group_.add(*piece.transfer);
  piece.running = true;
}

// Takes bytes of an answer, once it is the answer that was asked for.
bool BlobReadStream::take(Piece& piece, std::span<const std::byte> bytes) {
  if (piece.received == piece.asked_from) {
    const Answer& answer = piece.transfer->answer();
    const std::string begin = "bytes " + std::to_string(piece.place.offset + piece.received) + "-";
    if (answer.status != 206 || !answer.header("content-range").starts_with(begin)) return false;
    wait_.note(piece.transfer->answer_wait_ms());
  }
  if (bytes.size() > piece.place.length - piece.received) return false;
  const std::size_t direct = std::min(piece.reader.size(), bytes.size());
  std::copy_n(bytes.begin(), direct, piece.reader.begin());
  piece.reader = piece.reader.subspan(direct);
  piece.delivered += direct;
  if (direct < bytes.size()) {
    if (!piece.buffer) piece.buffer = spare_buffer();
    std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(direct), bytes.end(),
              piece.buffer.get() + piece.received + direct);
  }
  piece.received += bytes.size();
  return true;
}

std::unique_ptr<std::byte[]> BlobReadStream::spare_buffer() {
  if (spare_buffers_.empty()) return std::unique_ptr<std::byte[]>(new std::byte[kLongestPiece]);
  std::unique_ptr<std::byte[]> buffer = std::move(spare_buffers_.back());
  spare_buffers_.pop_back();
  return buffer;
}

void BlobReadStream::finished(Transfer& transfer, CURLcode result) {
  const auto of_transfer = [&transfer](const auto& piece) { return piece->transfer.get() == &transfer; };
  const auto found = std::find_if(window_.begin(), window_.end(), of_transfer);
  if (found == window_.end()) return;
  Piece& piece = **found;
  piece.running = false;
  const std::string doing = "reading bytes " + std::to_string(piece.place.offset) + "-" +
                            std::to_string(piece.end() - 1) + " of " + client_.access.described();
  piece.failure = transfer.failure(result, doing);
  if (result == CURLE_WRITE_ERROR && transfer.answer().succeeded()) {
    piece.failure = failure_of_form("the answer is not the part that was asked for", doing, false);
  } else if (!piece.failure && !piece.complete()) {
    piece.failure = failure_of_form("the answer is shorter than what was asked for", doing, true);
  }
}

// What is there already, then what is still to come, which needs no other copy. A failure drops the piece: part of its
// bytes are with the reader, and a later read at the same place begins anew.
std::size_t BlobReadStream::deliver(Piece& piece, std::byte* buffer, std::size_t size) {
  const std::size_t wanted = std::min<std::uint64_t>(size, piece.place.length - piece.delivered);
  const std::size_t ready = std::min(piece.received - piece.delivered, wanted);
  if (ready > 0) std::memcpy(buffer, piece.buffer.get() + piece.delivered, ready);
  piece.delivered += ready;
  piece.reader = {buffer + ready, wanted - ready};
  while (!piece.reader.empty()) {
    if (piece.failure) {
      repeat_failed(piece);
    } else {
      group_.wait_and_run();
    }
  }
  return wanted;
}

// One pause serves all pieces that failed meanwhile: the longest that the service asks for.
void BlobReadStream::repeat_failed(Piece& front) {
  if (!may_repeat(client_.options, Repeat::always, *front.failure, front.repeats)) {
    throw azurestorage_exception(*front.failure);
  }
  Failure failure = *front.failure;
  for (const auto& piece : window_) {
    if (piece->failure) failure.retry_after = std::max(failure.retry_after, piece->failure->retry_after);
  }
  pause_before_repeat(client_.options, failure, front.repeats);
  for (const auto& piece : window_) {
    if (!piece->failure || !piece->failure->retryable) continue;
    ++piece->repeats;
    start(*piece);
  }
}

void BlobReadStream::drop_front() {
  Piece& piece = *window_.front();
  if (piece.running) {
    group_.remove(*piece.transfer);
  }
  spare_transfers_.push_back(std::move(piece.transfer));
  if (piece.buffer) spare_buffers_.push_back(std::move(piece.buffer));
  window_bytes_ -= piece.place.length;
  window_.pop_front();
}

void BlobReadStream::drop_all() {
  for (const auto& piece : window_) {
    if (piece->transfer) group_.remove(*piece->transfer);
  }
  window_.clear();
  window_bytes_ = 0;
}

}  // namespace azurestoragewrapper
