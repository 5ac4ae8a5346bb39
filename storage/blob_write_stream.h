// Writing into a page blob, several requests under way at once.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "storage/blob_client.h"
#include "storage/in_flight.h"
#include "storage/streams.h"
#include "storage/transfer_group.h"

namespace azurestoragewrapper {

/// Stores what it takes by requests of at most 4 MiB over connections that stay alive, as many at once as the distance
/// to the service makes worth it, at most 64 MiB. Requests that are under way at once may reach the service in any
/// order, so a write to a place that one of them is for waits for it.
class BlobWriteStream final : public write_stream {
 public:
  /// size: of the blob. all_zeros: it holds nothing yet, so pages of zeros behind everything written are not sent.
  BlobWriteStream(BlobClient client, std::uint64_t size, bool all_zeros);
  ~BlobWriteStream() override;

  std::size_t write(const std::byte* data, std::size_t size) override;
  void seek(std::uint64_t offset) override;
  void close() override;

 private:
  struct Piece;

  void check_place(std::size_t size) const;
  void send_data(std::span<const std::byte> data, std::uint64_t offset);
  void send(std::span<const std::byte> data, std::uint64_t offset);
  void send_and_wait(Piece& piece);
  void abandon();
  void wait_for_room(std::size_t size);
  void wait_for_place(std::uint64_t offset, std::size_t size);
  void start(Piece& piece);
  void finished(Transfer& transfer, CURLcode result);
  void wait_and_run();
  void repeat_failed();
  void throw_if_failed() const;

  BlobClient client_;
  const std::uint64_t size_;
  std::uint64_t position_ = 0;
  std::uint64_t zeros_from_ = 0;  // nothing but zeros in the blob from here on; the blob's end when that is not known
  bool closed_ = false;
  std::optional<Failure> failure_;  // of pages that are lost; the blob is not what it should be

  AnswerWait wait_;
  TransferGroup group_;
  std::deque<std::unique_ptr<Piece>> under_way_;
  std::size_t bytes_under_way_ = 0;
  std::vector<std::unique_ptr<Piece>> spare_;
};

}  // namespace azurestoragewrapper
