// A managed disk as a host backs it up through the entry table, its bytes served by a server of the benchmark's choice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "bench/open_session.h"
#include "sim/simulator.h"

namespace bench {

class BackedUpDisk {
 public:
  /// Takes the next bytes of the disk's stream.
  using Consumer = std::function<void(std::span<const char> bytes)>;

  /// The simulator tells the machine and its disk, whose export is at blob_address. To be constructed after every child
  /// process: the simulator has threads.
  explicit BackedUpDisk(const std::string& blob_address);

  /// One backup of the disk: query, open, reads of `piece` bytes to its end, close. Returns the length of the stream;
  /// throws std::runtime_error when a call fails.
  std::uint64_t Read(std::size_t piece, const Consumer& consumer);

 private:
  void Check(const char* call, std::uint32_t status) const;

  sim::World world_;
  std::string path_;
  sim::Simulator simulator_;
  OpenSession session_;
};

}  // namespace bench
