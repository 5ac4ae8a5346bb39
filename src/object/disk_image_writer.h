// A disk's image taken back: header, range table and padding first, and then the data of each range into a new blob.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "src/base/logging.h"
#include "src/base/status.h"
#include "src/blob/disk_layout.h"
#include "src/blob/disk_write_stream.h"

namespace azurestackpi {

/// Takes one pass over the stream, from its first byte to its last, in writes of any length. The blob is made when
/// header, table and padding are complete and can be those of a disk; nothing of the service is touched before. For one
/// thread at a time.
class DiskImageWriter {
 public:
  /// uri: address of the blob to be made, as GetConnection takes it.
  explicit DiskImageWriter(std::string uri) : uri_(std::move(uri)) {}

  /// Takes up to length bytes and counts them in count. A failure is for good: bytes are lost, and every later call
  /// returns it. Returns 0 with all of them taken; 6601 for a header or table that no disk has, or bytes behind the
  /// last range; 6617 when a range's place cannot be reached; the status of OpenWriteStream; or 6622.
  Status Write(const FunctionLog& log, const void* buffer, std::uint64_t length, std::uint64_t& count);

  /// Ends the writing. Returns 0 once all of the disk is stored. Otherwise the failure, or 6614 for a stream that ended
  /// early; a blob that was made here is deleted then, or named in an error line.
  Status Close(const FunctionLog& log);

  /// Takes back what was written, whole or not: the blob that was made here is deleted, or named in an error line.
  void Abandon(const FunctionLog& log);

  const std::string& uri() const { return uri_; }

  /// Size of the disk in bytes; 0 as long as the header is not complete.
  std::uint64_t disk_size() const;

 private:
  struct Source {
    const std::byte* next;
    std::uint64_t left;
  };

  Status Take(const FunctionLog& log, Source& from);
  Status TakeLeadingSections(const FunctionLog& log, Source& from);
  Status TakeHeader(const FunctionLog& log, Source& from);
  Status TakeTable(const FunctionLog& log, Source& from);
  void TakePadding(const FunctionLog& log, Source& from);
  Status OpenBlob(const FunctionLog& log);
  Status WriteRanges(const FunctionLog& log, Source& from);
  Status BeginRange(const FunctionLog& log);
  Status WriteIntoRange(const FunctionLog& log, Source& from);
  Status EndRange(const FunctionLog& log);
  bool AtEnd() const { return stream_ != nullptr && range_ == layout_.ranges.size(); }
  Status Finish(const FunctionLog& log);

  std::string uri_;
  DiskLayout layout_;              // as far as it arrived; the table grows with what arrives
  std::uint64_t header_done_ = 0;  // bytes, as the three below
  std::uint64_t table_done_ = 0;
  std::uint64_t padding_done_ = 0;
  std::uint64_t range_done_ = 0;  // of the current range
  std::size_t range_ = 0;         // index of the current range
  std::unique_ptr<disk_write_stream> stream_;
  bool created_ = false;  // the blob is this object's to delete
  Status failure_ = kOk;
};

}  // namespace azurestackpi
