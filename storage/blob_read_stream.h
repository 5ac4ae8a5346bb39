// Reading a page blob, the next pieces asked for ahead.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "storage/blob_client.h"
#include "storage/in_flight.h"
#include "storage/page_ranges.h"
#include "storage/streams.h"
#include "storage/transfer_group.h"

namespace azurestoragewrapper {

/// Asks for pieces of at most 4 MiB, each cut out of one range from its beginning on, over connections that stay alive;
/// as many at once as the distance to the service makes worth it, at most 64 MiB. What lies between the ranges is asked
/// for only when it is read, and what was asked ahead is asked again after a seek elsewhere. A piece whose transfer
/// fails is asked again from where it broke off.
class BlobReadStream final : public read_stream {
 public:
  /// ranges: as azurestoragewrapper_VHD_Metadata has them; must outlive the stream. size: of the blob.
  BlobReadStream(BlobClient client, std::span<const PageRange> ranges, std::uint64_t size);
  ~BlobReadStream() override;

  std::size_t read(std::byte* buffer, std::size_t size) override;
  void seek(std::uint64_t offset) override;
  void close() override;

 private:
  struct Piece;
  using Pieces = std::deque<std::unique_ptr<Piece>>;

  std::size_t read_here(std::byte* buffer, std::size_t size);
  Piece& front_at_position(std::size_t size);
  std::size_t deliver(Piece& piece, std::byte* buffer, std::size_t size);
  std::unique_ptr<std::byte[]> spare_buffer();
  void fill_window();
  std::optional<PageRange> next_piece();
  void place_plan(std::uint64_t position);
  void append_piece(const PageRange& place);
  void start(Piece& piece);
  void finished(Transfer& transfer, CURLcode result);
  void repeat_failed(Piece& front);
  void drop_front();
  void drop_all();
  bool take(Piece& piece, std::span<const std::byte> bytes);

  BlobClient client_;
  const std::span<const PageRange> ranges_;
  const std::uint64_t size_;
  std::uint64_t position_ = 0;
  bool closed_ = false;

  // Where the pieces that are not yet asked for begin: a range, and how much of it is behind.
  std::size_t plan_range_ = 0;
  std::uint64_t plan_done_ = 0;

  AnswerWait wait_;
  TransferGroup group_;
  Pieces window_;  // in the order of their places; those asked for and not yet delivered in full
  std::size_t window_bytes_ = 0;
  std::vector<std::unique_ptr<std::byte[]>> spare_buffers_;
  std::vector<std::unique_ptr<Transfer>> spare_transfers_;
};

}  // namespace azurestoragewrapper
