// The stream of a saved disk as it comes back out of the repository.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/disk_stream.h"
#include "host/manifest.h"
#include "host/sha256.h"

namespace host {

class SavedStream {
 public:
  /// disk must outlive the stream. Without take_data the stream is only checked.
  explicit SavedStream(const SavedDisk& disk, DiskStream::TakeData take_data = {});
  SavedStream(const SavedStream&) = delete;
  SavedStream& operator=(const SavedStream&) = delete;

  /// Takes the next bytes of the stream. Throws DamagedStream as soon as it shows that the whole cannot be what the
  /// manifest tells, before any byte of data when header and table show it.
  void take(const char* data, std::size_t size);

  /// All came; throws DamagedStream unless it is the very stream, by its SHA-256. Once.
  void finish();

  /// Bytes taken so far.
  std::uint64_t bytes() const { return stream_.bytes(); }

  /// As DiskStream tells them.
  const std::vector<DataRange>& ranges() const { return stream_.ranges(); }

 private:
  void take_data(std::uint64_t offset, const char* data, std::size_t size) const;
  void require_saved_length() const;

  const SavedDisk& disk_;
  DiskStream::TakeData take_data_;
  DiskStream stream_;
  Sha256 digest_;
};

}  // namespace host
