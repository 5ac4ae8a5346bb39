// An unmanaged disk as a host restores it through the entry table, into a server of the benchmark's choice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/open_session.h"
#include "sim/simulator.h"
#include "storage/page_ranges.h"

namespace bench {

using azurestoragewrapper::PageRange;

class RestoredDisk {
 public:
  /// The blobs of the simulated cloud are behind blob_port of 127.0.0.1. To be constructed after every child process:
  /// the simulator has threads.
  explicit RestoredDisk(std::uint16_t blob_port);

  /// One restore of a disk of that size in bytes: query, create, writes of `piece` bytes, close. What blocks of at most
  /// 4 MiB hold, ContentOf says. Throws std::runtime_error when a call fails.
  void Write(std::uint64_t size, const std::vector<PageRange>& ranges, const std::vector<std::byte>& data,
             std::size_t piece);

 private:
  void Check(const char* call, std::uint32_t status, std::uint32_t wanted = 0) const;

  sim::World world_;
  std::string path_;
  sim::Simulator simulator_;
  OpenSession session_;
};

}  // namespace bench
