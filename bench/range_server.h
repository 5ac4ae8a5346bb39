// A blob service reduced to what limits no client: one page blob, reads by sendfile, page lists prepared beforehand,
// writes thrown away. Runs in a child process and notes every request where its owner can read it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/child_process.h"
#include "bench/descriptor.h"
#include "storage/page_ranges.h"

namespace bench {

using azurestoragewrapper::PageRange;

enum class Verb : std::uint8_t { kProperties, kRead, kPageList, kWrite };

/// A request that was answered. range: the bytes of the blob that were read, listed or written.
struct Request {
  Verb verb;
  PageRange range;
  std::uint64_t body_bytes;  // of the answer; for a write, of the request
};

class RequestLog;

class RangeServer {
 public:
  /// size: of the blob, in bytes. ranges: what the blob holds, sorted, none touching another.
  RangeServer(std::uint64_t size, const std::vector<PageRange>& ranges);
  ~RangeServer();
  RangeServer(const RangeServer&) = delete;
  RangeServer& operator=(const RangeServer&) = delete;

  std::uint16_t port() const { return listener_.port; }

  /// The requests since the last ClearRequests, in the order in which they came.
  std::vector<Request> Requests() const;
  void ClearRequests();

  /// Whether data is what the blob holds at offset. The blob repeats every 256 MiB.
  bool Holds(std::uint64_t offset, const std::byte* data, std::size_t size) const;

 private:
  Listener listener_;
  Descriptor content_;
  std::unique_ptr<RequestLog> log_;
  std::unique_ptr<ChildProcess> process_;
};

/// Shared-access address of the blob that is behind a port of 127.0.0.1, the server's own or a relay's.
std::string AddressAt(std::uint16_t port);

}  // namespace bench
