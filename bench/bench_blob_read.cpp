// Reading the ranges of a page blob: the client beside bare curl loops over the same ranges, in turn. On loopback, over
// a round trip of 10 ms, from nginx and from Azurite; and what a sparse disk of 1 TiB costs in memory.
#include <algorithm>
#include <cstdio>
#include <string>

#include "bench/azurite_server.h"
#include "bench/client_transfer.h"
#include "bench/delay_relay.h"
#include "bench/disk_layout.h"
#include "bench/memory.h"
#include "bench/nginx_server.h"
#include "bench/range_server.h"
#include "bench/raw_transfer.h"
#include "bench/side_by_side.h"

namespace {

using namespace std::chrono_literals;
using bench::PageRange;
using bench::Scale;

constexpr double kMostBesideLoop = 1 / 0.95;
constexpr bench::Bounds kBesideParallel = {.time = 1.15, .cpu = 2};
constexpr std::size_t kParallel = 8;
constexpr long kMostSparseKib = 100L * 1024;

// client: reads all of `blocks` from the address.
template <typename Client>
bool BesideLoop(const char* title, const std::string& address, const std::vector<PageRange>& ranges, int rounds,
                Client&& client) {
  const std::vector<PageRange> blocks = bench::CutIntoBlocks(ranges);
  const long buffer = bench::FastestBuffer([&](long size) { bench::ReadSerially(address, blocks, size); });
  const bench::Sides sides = bench::MeasureSides(rounds, client, [&] { bench::ReadSerially(address, blocks, buffer); });
  const std::string raw_name = "raw loop, buffer " + std::to_string(buffer / 1024) + " KiB";
  return bench::ReportSides(title, "client", raw_name, bench::TotalLength(ranges), sides, {.time = kMostBesideLoop});
}

bool SparseDisk() {
  const std::vector<PageRange> ranges = bench::SpreadRanges(16, 32 * bench::kMib, bench::kTib);
  bench::RangeServer server(bench::kTib, ranges);
  bench::ResetPeak();
  const double seconds = bench::Seconds([&] { bench::ReadBlob(bench::AddressAt(server.port())); });
  const long peak = bench::PeakKib();
  const auto requests = server.Requests();
  const auto lists = std::count_if(requests.begin(), requests.end(), [](const bench::Request& request) {
    return request.verb == bench::Verb::kPageList;
  });
  std::printf(
      "sparse disk of 1 TiB, 16 ranges: %.2f s, %td page lists, peak of resident memory %.1f MiB, at most %ld%s\n",
      seconds, lists, static_cast<double>(peak) / 1024, kMostSparseKib / 1024,
      peak <= kMostSparseKib ? "" : "  BEYOND THE BOUND");
  return bench::CoverExactly(requests, bench::Verb::kRead, ranges) && peak <= kMostSparseKib;
}

// One pass that looks at the bytes themselves.
bool Delivers(bench::RangeServer& server, const std::vector<PageRange>& ranges) {
  bool right = true;
  server.ClearRequests();
  bench::ReadBlob(bench::AddressAt(server.port()), [&](std::uint64_t offset, const std::byte* data, std::size_t size) {
    right = server.Holds(offset, data, size) && right;
  });
  std::printf("%zu ranges: the client's bytes are %s\n", ranges.size(), right ? "the blob's" : "WRONG");
  return bench::CoverExactly(server.Requests(), bench::Verb::kRead, ranges) && right;
}

bool BesideParallel(const bench::RangeServer& server, const std::vector<PageRange>& ranges, int rounds) {
  const bench::DelayRelay relay(server.port(), 5ms);
  const std::string address = bench::AddressAt(relay.port());
  const std::vector<PageRange> blocks = bench::CutIntoBlocks(ranges);
  const auto parallel = [&](long buffer) { bench::ReadInParallel(address, blocks, kParallel, buffer); };
  const long buffer = bench::FastestBuffer(parallel);
  const bench::Sides sides = bench::MeasureSides(
      rounds, [&] { bench::ReadBlob(address); }, [&] { parallel(buffer); });
  const std::string raw_name = "8 transfers, buffer " + std::to_string(buffer / 1024) + " KiB";
  return bench::ReportSides("10 ms round trip", "client", raw_name, bench::TotalLength(ranges), sides, kBesideParallel);
}

bool FromOwnServer(const Scale& scale) {
  const std::vector<PageRange> ranges = bench::MixedRanges(scale.bytes);
  bench::RangeServer server(64 * bench::kGib, ranges);
  bool good = Delivers(server, ranges);
  const std::string address = bench::AddressAt(server.port());
  good = BesideLoop("loopback", address, ranges, scale.rounds, [&] { bench::ReadBlob(address); }) && good;
  return BesideParallel(server, ranges, scale.rounds) && good;
}

bool FromNginx(const Scale& scale) {
  const bench::NginxServer nginx(64 * bench::kGib);
  const std::vector<PageRange> ranges = bench::MixedRanges(scale.bytes);
  const std::string address = nginx.address();
  return BesideLoop("nginx, ranges known", address, ranges, scale.rounds, [&] { bench::ReadRanges(address, ranges); });
}

bool FromAzurite(const Scale& scale) {
  const bench::AzuriteServer azurite;
  const std::vector<PageRange> ranges = bench::MixedRanges(scale.bytes / 4);
  azurite.MakeBlob("disk", 64 * bench::kGib);
  const std::string address = azurite.AddressOf("disk");
  bench::WriteBlocks(address, bench::CutIntoBlocks(ranges), bench::RandomData(64 * bench::kMib + bench::kBlock));
  return BesideLoop("Azurite", address, ranges, scale.rounds, [&] { bench::ReadBlob(address); });
}

bool Run(const Scale& scale) {
  bool good = SparseDisk();  // before anything else has taken memory
  good = FromOwnServer(scale) && good;
  good = FromNginx(scale) && good;
  return FromAzurite(scale) && good;
}

}  // namespace

int main(int count, char** arguments) { return bench::MainOf(count, arguments, Run); }
