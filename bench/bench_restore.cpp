// Restoring a disk through the entry table, beside a bare curl loop of the same Put Page requests, in turn: on loopback
// into a server that throws the bytes away, and over a round trip of 10 ms; and the memory it takes.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#include "bench/client_transfer.h"
#include "bench/delay_relay.h"
#include "bench/disk_layout.h"
#include "bench/memory.h"
#include "bench/range_server.h"
#include "bench/raw_transfer.h"
#include "bench/restored_disk.h"
#include "bench/side_by_side.h"

namespace {

using namespace std::chrono_literals;
using bench::PageRange;

constexpr std::uint64_t kDiskSize = 64 * bench::kGib;
constexpr std::size_t kHostPiece = 4 * bench::kMib;  // as azsbackup writes
constexpr long kMostKib = 100L * 1024;
constexpr double kMostBesideLoop = 1 / 0.9;
constexpr double kMostBesideLoopFarAway = 1 / 4.0;

struct Job {
  std::vector<PageRange> ranges;
  const std::vector<std::byte>& data;
};

bool BesideLoop(const char* title, std::uint16_t port, const Job& job, int rounds, double bound) {
  bench::RestoredDisk disk(port);
  const std::vector<PageRange> blocks = bench::CutIntoBlocks(job.ranges);
  const auto raw = [&](long size) { bench::WriteSerially(bench::AddressAt(port), blocks, job.data, size); };
  const long buffer = bench::FastestBuffer(raw);
  bench::ResetPeak();
  const long before = bench::ResidentKib();
  const bench::Sides sides = bench::MeasureSides(
      rounds, [&] { disk.Write(kDiskSize, job.ranges, job.data, kHostPiece); }, [&] { raw(buffer); });
  const long peak = bench::PeakKib() - before;
  const std::string raw_name = "raw loop, buffer " + std::to_string(buffer / 1024) + " KiB";
  const bool within =
      bench::ReportSides(title, "host", raw_name, bench::TotalLength(job.ranges), sides, {.time = bound});
  std::printf("  peak of resident memory %.1f MiB above the start, at most %ld%s\n", static_cast<double>(peak) / 1024,
              kMostKib / 1024, peak <= kMostKib ? "" : "  BEYOND THE BOUND");
  return within && peak <= kMostKib;
}

bool SendsEachByteOnce(bench::RangeServer& server, const Job& job) {
  bench::RestoredDisk disk(server.port());
  server.ClearRequests();
  disk.Write(kDiskSize, job.ranges, job.data, kHostPiece);
  std::vector<bench::Request> pages = server.Requests();
  std::erase_if(pages, [](const bench::Request& request) { return request.body_bytes == 0; });  // the blob's making
  return bench::CoverExactly(pages, bench::Verb::kWrite, job.ranges);
}

bool Run(const bench::Scale& scale) {
  const std::vector<std::byte> data = bench::RandomData(64 * bench::kMib + bench::kBlock);
  bench::RangeServer server(kDiskSize, {});
  const bench::DelayRelay relay(server.port(), 5ms);
  const Job whole{bench::MixedRanges(scale.bytes), data};
  bool good = SendsEachByteOnce(server, whole);
  good = BesideLoop("loopback", server.port(), whole, scale.rounds, kMostBesideLoop) && good;
  // A loop is slow there; with fewer bytes than this the beginning, a few round trips, would count for too much.
  const Job far{bench::MixedRanges(std::max(scale.bytes / 4, 256 * bench::kMib)), data};
  return BesideLoop("10 ms round trip", relay.port(), far, scale.rounds, kMostBesideLoopFarAway) && good;
}

}  // namespace

int main(int count, char** arguments) { return bench::MainOf(count, arguments, Run); }
