// A disk's stream on its way back, as the plug-in takes it up to the blob that it would make, and as the host judges
// it: in pieces of any length.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/saved_stream.h"
#include "host/sha256.h"
#include "src/object/disk_image_writer.h"

namespace {

// The address is none, so that a stream whose header and table are a disk's ends there.
void WriteToPlugin(const std::uint8_t* data, std::size_t size, std::size_t piece) {
  const azurestackpi::FunctionLog log(__func__);
  azurestackpi::DiskImageWriter writer("no address");
  azurestackpi::Status status = azurestackpi::kOk;
  for (std::size_t at = 0; at < size && status == azurestackpi::kOk;) {
    const std::size_t length = piece < size - at ? piece : size - at;
    std::uint64_t count = 0;
    status = writer.Write(log, data + at, length, count);
    if (count > length || (status == azurestackpi::kOk && count != length)) std::abort();
    at += count;
  }
  if (writer.Close(log) == azurestackpi::kOk) std::abort();
}

// What is handed on lies on the disk, ascending, and never before the stream was found to be a disk's.
void JudgeInHost(const std::uint8_t* data, std::size_t size, std::size_t piece) {
  constexpr std::uint64_t kDiskSize = 4096;
  host::Sha256 digest;
  digest.update(reinterpret_cast<const char*>(data), size);
  host::SavedDisk disk;
  disk.size = kDiskSize;
  disk.stream_bytes = size;
  disk.sha256 = digest.finish();
  std::uint64_t end = 0;
  try {
    host::SavedStream stream(disk, [&](std::uint64_t offset, const char* /*bytes*/, std::size_t length) {
      if (offset < end || length > kDiskSize - offset) std::abort();
      end = offset + length;
    });
    for (std::size_t at = 0; at < size; at += piece) {
      stream.take(reinterpret_cast<const char*>(data) + at, piece < size - at ? piece : size - at);
    }
    stream.finish();
  } catch (const host::DamagedStream&) {
    return;  // right for nearly all of them
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::size_t piece = std::size_t{data[0]} + 1;
  WriteToPlugin(data + 1, size - 1, piece);
  JudgeInHost(data + 1, size - 1, piece);
  return 0;
}
