#include "host/saved_stream.h"

#include <utility>

namespace host {

SavedStream::SavedStream(const SavedDisk& disk, DiskStream::TakeData take_data)
    : disk_(disk),
      take_data_(std::move(take_data)),
      stream_(disk.size, [this](auto... data) { this->take_data(data...); }) {}

void SavedStream::take(const char* data, std::size_t size) {
  digest_.update(data, size);
  stream_.take(data, size);
}

void SavedStream::finish() {
  stream_.finish();
  require_saved_length();
  if (digest_.finish() != disk_.sha256) throw DamagedStream("its stream is damaged: its SHA-256 is not the saved one");
}

void SavedStream::take_data(std::uint64_t offset, const char* data, std::size_t size) const {
  require_saved_length();
  if (take_data_) take_data_(offset, data, size);
}

void SavedStream::require_saved_length() const {
  if (stream_.expected() != disk_.stream_bytes) {
    throw DamagedStream("its stream is damaged: it is not as long as what was saved");
  }
}

}  // namespace host
