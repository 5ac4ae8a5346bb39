#include "storage/blob_write_stream.h"

#include <algorithm>
#include <cstring>

#include "platform/clock.h"
#include "storage/wire.h"

namespace azurestoragewrapper {
namespace {

constexpr std::size_t kSector = 512;
// What is worth leaving out: the smallest page that an Azure Stack keeps.
constexpr std::size_t kPage = 4096;

bool is_zero(std::span<const std::byte> bytes) {
  return bytes.front() == std::byte{0} && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
}

// Bytes up to the next border of the blob's pages.
std::size_t page_rest(std::uint64_t offset, std::size_t left) {
  return std::min<std::size_t>(kPage - static_cast<std::size_t>(offset % kPage), left);
}

}  // namespace

struct BlobWriteStream::Piece {
  Transfer transfer{Transfer::Connections::own};
  Request request = {};
  std::uint64_t offset = 0;
  std::span<const std::byte> bytes = {};
  std::unique_ptr<std::byte[]> copy = {};  // of the bytes, where the caller does not wait for them
  int repeats = 0;
  std::optional<Failure> failure;  // that another try may mend

  bool overlaps(std::uint64_t other, std::size_t length) const {
    return offset < other + length && other < offset + bytes.size();
  }
};

BlobWriteStream::BlobWriteStream(BlobClient client, std::uint64_t size, bool all_zeros)
    : client_(std::move(client)),
      size_(size),
      zeros_from_(all_zeros ? 0 : size),
      wait_(client_.fastest_answer_ms, client_.options.requests_in_flight),
      group_([this](Transfer& transfer, CURLcode result) { finished(transfer, result); }) {
  spare_.reserve(kMostRequestsInFlight);
}

BlobWriteStream::~BlobWriteStream() {
  for (const auto& piece : under_way_) group_.remove(piece->transfer);
}

void BlobWriteStream::seek(std::uint64_t offset) {
  if (closed_) throw azurestorage_exception(Failure{.message = "a closed stream cannot be moved"});
  position_ = offset;
}

void BlobWriteStream::check_place(std::size_t size) const {
  const std::string doing = "writing " + std::to_string(size) + " bytes at " + std::to_string(position_) + " of " +
                            client_.access.described();
  if (closed_) throw azurestorage_exception(failure_of_form("the stream is closed", doing, false));
  if (position_ % kSector != 0 || size % kSector != 0) {
    throw azurestorage_exception(failure_of_form("a page blob takes multiples of 512 bytes only", doing, false));
  }
  if (position_ > size_ || size > size_ - position_) {
    throw azurestorage_exception(failure_of_form("the blob ends at " + std::to_string(size_), doing, false));
  }
}

std::size_t BlobWriteStream::write(const std::byte* data, std::size_t size) {
  check_place(size);
  throw_if_failed();
  try {
    for (std::size_t done = 0; done < size;) {
      const std::size_t piece = std::min(size - done, kLongestPiece);
      send_data({data + done, piece}, position_);
      done += piece;
      position_ += piece;
    }
    group_.run();
    throw_if_failed();
  } catch (...) {
    abandon();
    throw;
  }
  return size;
}

// Sends the bytes but for whole pages of zeros where the blob has zeros.
void BlobWriteStream::send_data(std::span<const std::byte> data, std::uint64_t offset) {
  std::size_t begin = 0;  // of what is to be sent
  std::size_t at = 0;
  while (at < data.size()) {
    const std::size_t page = page_rest(offset + at, data.size() - at);
    if (offset + at >= zeros_from_ && is_zero(data.subspan(at, page))) {
      send(data.subspan(begin, at - begin), offset + begin);
      begin = at + page;
    }
    at += page;
  }
  send(data.subspan(begin), offset + begin);
}

void BlobWriteStream::send(std::span<const std::byte> data, std::uint64_t offset) {
  if (data.empty()) return;
  wait_for_place(offset, data.size());
  wait_for_room(data.size());
  std::unique_ptr<Piece> piece;
  if (spare_.empty()) {
    piece = std::make_unique<Piece>();
  } else {
    piece = std::move(spare_.back());
    spare_.pop_back();
  }
  piece->offset = offset;
  piece->repeats = 0;
  const bool alone = wait_.requests_in_flight() == 1;
  if (alone) {
    piece->bytes = data;
  } else {
    if (!piece->copy) piece->copy.reset(new std::byte[kLongestPiece]);
    std::memcpy(piece->copy.get(), data.data(), data.size());
    piece->bytes = {piece->copy.get(), data.size()};
  }
  bytes_under_way_ += data.size();
  zeros_from_ = std::max(zeros_from_, offset + data.size());
  under_way_.push_back(std::move(piece));
  if (alone) {
    send_and_wait(*under_way_.back());
  } else {
    start(*under_way_.back());
  }
}

// The bytes are the caller's: nothing of the request outlives this call, nor write, which abandons it at an exception.
void BlobWriteStream::send_and_wait(Piece& piece) {
  start(piece);
  while (!under_way_.empty()) wait_and_run();
}

// Pages are lost, whatever state they were in: nothing of the stream can be trusted after that.
void BlobWriteStream::abandon() {
  for (const auto& piece : under_way_) group_.remove(piece->transfer);
  under_way_.clear();
  bytes_under_way_ = 0;
  if (!failure_) failure_ = Failure{.message = "writing was broken off"};
}

void BlobWriteStream::start(Piece& piece) {
  piece.failure.reset();
  piece.request = put_pages_request(piece.offset, piece.bytes);
  const auto ignore = [](std::span<const std::byte>) { return true; };
  piece.transfer.prepare(client_.access.sign(piece.request, platform::clock().now(), client_.options.api_version),
                         piece.request, client_.options, ignore);
  group_.add(piece.transfer);
}

void BlobWriteStream::wait_for_room(std::size_t size) {
  while (under_way_.size() >= wait_.requests_in_flight() || bytes_under_way_ + size > kMostBytesInFlight)
    wait_and_run();
}

void BlobWriteStream::wait_for_place(std::uint64_t offset, std::size_t size) {
  const auto meets = [&](const auto& piece) { return piece->overlaps(offset, size); };
  while (std::any_of(under_way_.begin(), under_way_.end(), meets)) wait_and_run();
}

void BlobWriteStream::wait_and_run() {
  const auto failed = [](const auto& piece) { return piece->failure.has_value(); };
  if (std::any_of(under_way_.begin(), under_way_.end(), failed)) {
    repeat_failed();
  } else {
    group_.wait_and_run();
  }
  throw_if_failed();
}

// One pause serves all requests that failed meanwhile.
void BlobWriteStream::repeat_failed() {
  std::optional<Failure> failure;
  int repeats = 0;
  for (const auto& piece : under_way_) {
    if (!piece->failure) continue;
    if (!failure || piece->failure->retry_after > failure->retry_after) failure = piece->failure;
    repeats = std::max(repeats, piece->repeats);
  }
  pause_before_repeat(client_.options, *failure, repeats);
  for (const auto& piece : under_way_) {
    if (!piece->failure) continue;
    ++piece->repeats;
    start(*piece);
  }
}

void BlobWriteStream::finished(Transfer& transfer, CURLcode result) {
  const auto of_transfer = [&transfer](const auto& piece) { return &piece->transfer == &transfer; };
  const auto found = std::find_if(under_way_.begin(), under_way_.end(), of_transfer);
  if (found == under_way_.end()) return;
  Piece& piece = **found;
  const std::string doing = "writing bytes " + std::to_string(piece.offset) + "-" +
                            std::to_string(piece.offset + piece.bytes.size() - 1) + " of " + client_.access.described();
  auto failure = transfer.failure(result, doing);
  wait_.note(transfer.duration_ms());
  if (failure && may_repeat(client_.options, Repeat::always, *failure, piece.repeats)) {
    piece.failure = std::move(failure);
    return;
  }
  if (failure && !failure_) failure_ = std::move(failure);
  bytes_under_way_ -= piece.bytes.size();
  spare_.push_back(std::move(*found));
  under_way_.erase(found);
}

void BlobWriteStream::throw_if_failed() const {
  if (failure_) throw azurestorage_exception(*failure_);
}

void BlobWriteStream::close() {
  if (closed_) return;
  try {
    while (!under_way_.empty() && !failure_) wait_and_run();
    throw_if_failed();
  } catch (...) {
    abandon();
    throw;
  }
  spare_.clear();
  closed_ = true;
}

}  // namespace azurestoragewrapper
