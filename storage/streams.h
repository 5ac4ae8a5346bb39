// Reading and writing a page blob as a stream of bytes: the two interfaces and the six calls that drive them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace azurestoragewrapper {

/// Bytes of a page blob in order. Used by one thread at a time. Destroying a stream that is open abandons what is in
/// flight. Every member throws azurestorage_exception on failure.
class read_stream {
 public:
  virtual ~read_stream() = default;
  /// Delivers at most `size` bytes from the position on and moves it; at least 1 unless the end is reached or size is
  /// 0.
  virtual std::size_t read(std::byte* buffer, std::size_t size) = 0;
  virtual void seek(std::uint64_t offset) = 0;
  /// Ends the stream; further calls throw, but for a second close.
  virtual void close() = 0;
};

/// Writes into a page blob that exists. Used by one thread at a time. Destroying a stream that is not closed abandons
/// what is in flight.
class write_stream {
 public:
  virtual ~write_stream() = default;
  /// Takes `size` bytes at the position and moves it; position and size are multiples of 512, and all lies within the
  /// blob. Returns the bytes taken. What is taken may still be on its way: a failure of it is thrown by this or a later
  /// call, by close at the latest, and then by every call, for the blob's contents are not what they should be.
  virtual std::size_t write(const std::byte* data, std::size_t size) = 0;
  virtual void seek(std::uint64_t offset) = 0;
  /// Returns once everything taken is stored, or throws; after a throw the stream stays open.
  virtual void close() = 0;
};

/// Reads into buffer + count_so_far, up to `size` in all. Returns the bytes delivered, 0 at the end of the blob.
std::size_t ReadStream(read_stream& stream, void* buffer, std::size_t size, std::size_t count_so_far);
void SeekIStream(read_stream& stream, std::uint64_t offset);
void CloseIStream(read_stream& stream);

/// Returns the bytes accepted.
std::size_t WriteStream(write_stream& stream, const void* data, std::size_t size);
void SeekWStream(write_stream& stream, std::uint64_t offset);
void CloseWStream(write_stream& stream);

}  // namespace azurestoragewrapper
