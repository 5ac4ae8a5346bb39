#include "storage/streams.h"

namespace azurestoragewrapper {

std::size_t ReadStream(read_stream& stream, void* buffer, std::size_t size, std::size_t count_so_far) {
  if (count_so_far >= size) return 0;
  return stream.read(static_cast<std::byte*>(buffer) + count_so_far, size - count_so_far);
}

void SeekIStream(read_stream& stream, std::uint64_t offset) { stream.seek(offset); }

void CloseIStream(read_stream& stream) { stream.close(); }

std::size_t WriteStream(write_stream& stream, const void* data, std::size_t size) {
  return stream.write(static_cast<const std::byte*>(data), size);
}

void SeekWStream(write_stream& stream, std::uint64_t offset) { stream.seek(offset); }

void CloseWStream(write_stream& stream) { stream.close(); }

}  // namespace azurestoragewrapper
