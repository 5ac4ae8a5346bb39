// A disk's snapshot as one stream of bytes: header, range table, padding, and then the data of each range.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "src/base/logging.h"
#include "src/base/status.h"
#include "src/blob/disk_read_stream.h"

namespace azurestackpi {

/// Serves one pass over the stream, from its first byte to its last, in reads of any length. For one thread at a time.
class DiskImageReader {
 public:
  explicit DiskImageReader(std::unique_ptr<disk_read_stream> stream) : stream_(std::move(stream)) {}

  /// Places up to length bytes and counts them in count; fewer than asked for only at the end of the stream or after a
  /// failure, which is for good: what the host got of it, and where it would go on, is not known. Returns 0; 6617 when
  /// a range's place cannot be reached; or the status of the failed read.
  Status Read(const FunctionLog& log, void* buffer, std::uint64_t length, std::uint64_t& count);

  /// Every byte was read.
  bool AtEnd() const;

  /// Size of the disk in bytes, the parts that the stream leaves out included.
  std::uint64_t disk_size() const { return stream_->layout.header.display_size; }

  /// Ends the reading. Returns the status of CloseReadStream; the stream is given up whatever it is.
  Status Close();

 private:
  /// A piece of the stream in front of the data: how much of it was read, and what it is.
  struct Section {
    std::uint64_t& done;
    const std::byte* bytes;  // null: zeros
    std::uint64_t size;
    const char* name;
  };
  struct Destination {
    std::byte* next;
    std::uint64_t room;
  };

  void ReadLeadingSections(const FunctionLog& log, Destination& to);
  static void ReadSection(const FunctionLog& log, const Section& section, Destination& to);
  Status ReadRanges(const FunctionLog& log, Destination& to);
  Status ReadFromRange(const FunctionLog& log, Destination& to);

  std::unique_ptr<disk_read_stream> stream_;
  std::uint64_t header_done_ = 0;  // bytes, as the three below
  std::uint64_t table_done_ = 0;
  std::uint64_t padding_done_ = 0;
  std::uint64_t range_done_ = 0;  // of the current range
  bool leading_done_ = false;
  std::size_t range_ = 0;  // index of the current range
  Status failure_ = kOk;
};

}  // namespace azurestackpi
