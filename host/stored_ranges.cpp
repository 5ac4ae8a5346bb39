#include "host/stored_ranges.h"

namespace host {

namespace {

/// Thrown by whoever has read enough, since a stream comes until its reader is gone.
struct Enough {};

}  // namespace

std::vector<DataRange> read_ranges(const Restic& restic, const StoredStreams& streams, const SavedDisk& disk) {
  const auto stored = streams.find(disk.snapshot);
  if (stored == streams.end() || stored->second.path != disk.path)
    throw DamagedStream("its stream is not in the repository");
  SavedStream stream(disk, [](std::uint64_t, const char*, std::size_t) { throw Enough(); });
  try {
    restic.dump(stored->second, [&](const char* data, std::size_t size) { stream.take(data, size); });
    stream.finish();
  } catch (const Enough&) {
    return stream.ranges();
  }
  return stream.ranges();
}

}  // namespace host
