// The storage client's two streams over bytes in memory, with faults at a test's wish.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <utility>
#include <vector>

#include "storage/azurestorage_exception.h"
#include "storage/streams.h"

namespace page_blob_test {

/// What a stream does in place of what it should.
enum class Fault { kNone, kStorage, kOther, kUnknown };

inline void Throw(Fault fault) {
  switch (fault) {
    case Fault::kStorage:
      throw azurestoragewrapper::azurestorage_exception({.message = "the service is gone", .retryable = true});
    case Fault::kOther:
      throw std::runtime_error("out of order");
    case Fault::kUnknown:
      throw 7;
    case Fault::kNone:
      break;
  }
}

/// A disk in memory; outlives its streams. Calls are the sizes that the streams were asked for.
struct MemoryDisk {
  explicit MemoryDisk(std::size_t size) : bytes(size) {}

  std::vector<std::byte> bytes;
  std::vector<std::size_t> calls;
  std::vector<std::uint64_t> offsets;   // where each call began
  std::size_t most_at_once = SIZE_MAX;  // bytes that one call moves
  Fault fault = Fault::kNone;           // of every call but seeks
  Fault seek_fault = Fault::kNone;
};

class MemoryReadStream final : public azurestoragewrapper::read_stream {
 public:
  explicit MemoryReadStream(MemoryDisk& disk) : disk_(disk) {}

  std::size_t read(std::byte* buffer, std::size_t size) override {
    Throw(disk_.fault);
    disk_.calls.push_back(size);
    disk_.offsets.push_back(position_);
    const std::size_t left = disk_.bytes.size() - std::min<std::size_t>(position_, disk_.bytes.size());
    const std::size_t count = std::min({size, left, disk_.most_at_once});
    std::copy_n(disk_.bytes.begin() + static_cast<std::ptrdiff_t>(position_), count, buffer);
    position_ += count;
    return count;
  }
  void seek(std::uint64_t offset) override {
    Throw(disk_.seek_fault);
    position_ = offset;
  }
  void close() override { Throw(disk_.fault); }

 private:
  MemoryDisk& disk_;
  std::uint64_t position_ = 0;
};

class MemoryWriteStream final : public azurestoragewrapper::write_stream {
 public:
  explicit MemoryWriteStream(MemoryDisk& disk) : disk_(disk) {}

  std::size_t write(const std::byte* data, std::size_t size) override {
    Throw(disk_.fault);
    disk_.calls.push_back(size);
    disk_.offsets.push_back(position_);
    const std::size_t count = std::min(size, disk_.most_at_once);
    std::copy_n(data, count, disk_.bytes.begin() + static_cast<std::ptrdiff_t>(position_));
    position_ += count;
    return count;
  }
  void seek(std::uint64_t offset) override {
    Throw(disk_.seek_fault);
    position_ = offset;
  }
  void close() override { Throw(disk_.fault); }

 private:
  MemoryDisk& disk_;
  std::uint64_t position_ = 0;
};

}  // namespace page_blob_test
