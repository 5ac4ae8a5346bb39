// A page blob of its own in the blob service, behind a proxy that makes faults happen; fake time.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "storage/page_blob.h"
#include "tests/azurite/azurite_server.h"
#include "tests/azurite/fault_proxy.h"
#include "tests/support/fake_clock.h"

namespace azurestoragewrapper {

constexpr std::size_t kMiB = std::size_t{1} << 20U;
using Bytes = std::vector<std::byte>;

inline Bytes random_bytes(std::size_t size, unsigned seed = 1) {
  std::mt19937_64 generator(seed);
  Bytes bytes(size);
  for (std::byte& byte : bytes) byte = static_cast<std::byte>(generator() | 1U);
  return bytes;
}

class BlobFixture : public testing::Test {
 protected:
  BlobFixture() {
    options.log = [](std::uint32_t, const char*) {};
  }

  /// The account behind the proxy, or straight at the service.
  std::string account(std::uint16_t port) const {
    return "DefaultEndpointsProtocol=http;AccountName=acctone;AccountKey=" + azurite::key("acctone") +
           ";EndpointSuffix=local.azurestack.localhost:" + std::to_string(port);
  }
  page_blob create(std::uint64_t size) const { return {account(azurite::port()), container, name, size, options}; }
  page_blob behind_proxy() const { return {account(proxy.port()), container, name, options}; }

  /// Writes the bytes at that place past the proxy.
  static void store(page_blob& blob, std::uint64_t offset, const Bytes& bytes) {
    const auto stream = blob.open_write();
    SeekWStream(*stream, offset);
    WriteStream(*stream, bytes.data(), bytes.size());
    CloseWStream(*stream);
  }

  static Bytes read_at(read_stream& stream, std::uint64_t offset, std::size_t size, std::size_t step = 4 * kMiB) {
    Bytes bytes(size);
    SeekIStream(stream, offset);
    for (std::size_t done = 0; done < size;) {
      const std::size_t count = ReadStream(stream, bytes.data() + done, std::min(step, size - done), 0);
      if (count == 0) break;
      done += count;
    }
    return bytes;
  }

  void fault(const std::string& method, const std::string& target, azurite::ProxyAction action, std::uint64_t first = 1,
             std::uint64_t times = 1) {
    proxy.add({.method = method, .target = target, .first = first, .times = times, .action = std::move(action)});
  }
  static sim::AnswerWith status(int status, sim::Headers headers = {}, std::string body = {}) {
    return {{.status = status, .headers = std::move(headers), .body = std::move(body)}, {}};
  }

  /// The ranges that requests of that method asked for.
  std::vector<PageRange> asked_ranges(const std::string& method, const std::string& target = "") const {
    std::vector<PageRange> ranges;
    for (const azurite::SeenRequest& request : proxy.requests()) {
      if (request.method != method || request.target.find(target) == std::string::npos) continue;
      for (const auto& header : request.headers) {
        if (header.first != "x-ms-range") continue;
        const std::string& text = header.second;  // "bytes=BEGIN-END"
        const std::uint64_t begin = std::stoull(text.substr(6));
        ranges.push_back({begin, std::stoull(text.substr(text.find('-') + 1)) - begin + 1});
      }
    }
    return ranges;
  }

  /// Requests that are under way at once come in any order.
  static std::vector<PageRange> by_offset(std::vector<PageRange> ranges) {
    std::sort(ranges.begin(), ranges.end(), [](const auto& a, const auto& b) { return a.offset < b.offset; });
    return ranges;
  }

  void TearDown() override { EXPECT_THAT(proxy.unused_faults(), testing::IsEmpty()); }

  client_options options;
  test_support::FakeClock clock;
  azurite::FaultProxy proxy{azurite::port()};
  const std::string container = azurite::new_container_name();
  const std::string name = "folder/a disk.vhd";
};

/// Runs step, which has to fail, and returns how.
template <typename Step>
Failure failure_of(const Step& step) {
  try {
    step();
  } catch (const azurestorage_exception& error) {
    return error.failure();
  }
  ADD_FAILURE() << "nothing failed";
  return {};
}

inline void PrintTo(const PageRange& range, std::ostream* out) { *out << range.offset << "+" << range.length; }

}  // namespace azurestoragewrapper
