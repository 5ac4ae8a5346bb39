// Writing a page blob in blocks of 4 MiB: the client beside a bare curl loop of the same requests, in turn. On loopback
// into a server that throws the bytes away, over a round trip of 10 ms, and into Azurite.
#include <algorithm>
#include <cstdio>
#include <string>

#include "bench/azurite_server.h"
#include "bench/client_transfer.h"
#include "bench/delay_relay.h"
#include "bench/disk_layout.h"
#include "bench/range_server.h"
#include "bench/raw_transfer.h"
#include "bench/side_by_side.h"

namespace {

using namespace std::chrono_literals;
using bench::PageRange;
using bench::Scale;

constexpr double kMostBesideLoop = 1 / 0.9;
constexpr double kMostBesideLoopFarAway = 1 / 4.0;

struct Job {
  std::vector<PageRange> blocks;
  const std::vector<std::byte>& data;
};

bool BesideLoop(const char* title, const std::string& address, const Job& job, int rounds, double bound) {
  const auto raw = [&](long size) { bench::WriteSerially(address, job.blocks, job.data, size); };
  const long buffer = bench::FastestBuffer(raw);
  const bench::Sides sides = bench::MeasureSides(
      rounds, [&] { bench::WriteBlocks(address, job.blocks, job.data); }, [&] { raw(buffer); });
  const std::string raw_name = "raw loop, buffer " + std::to_string(buffer / 1024) + " KiB";
  return bench::ReportSides(title, "client", raw_name, bench::TotalLength(job.blocks), sides, {.time = bound});
}

bool Run(const Scale& scale) {
  const std::vector<std::byte> data = bench::RandomData(64 * bench::kMib + bench::kBlock);
  const auto job_of = [&](std::uint64_t bytes) { return Job{bench::CutIntoBlocks({{0, bytes}}), data}; };
  bench::RangeServer sink(64 * bench::kGib, {});
  const Job whole = job_of(scale.bytes);
  bench::WriteBlocks(bench::AddressAt(sink.port()), whole.blocks, data);
  bool good = bench::CoverExactly(sink.Requests(), bench::Verb::kWrite, {{0, scale.bytes}});
  good = BesideLoop("loopback", bench::AddressAt(sink.port()), whole, scale.rounds, kMostBesideLoop) && good;
  {
    // A loop is slow here; with fewer blocks than this the beginning, a few round trips, would count for too much.
    const std::uint64_t far_bytes = std::max(scale.bytes / 4, 256 * bench::kMib);
    const bench::DelayRelay relay(sink.port(), 5ms);
    good = BesideLoop("10 ms round trip", bench::AddressAt(relay.port()), job_of(far_bytes), scale.rounds,
                      kMostBesideLoopFarAway) &&
           good;
  }
  const bench::AzuriteServer azurite;  // keeps what was overwritten for ten minutes: an eighth of the bytes
  azurite.MakeBlob("disk", 64 * bench::kGib);
  return BesideLoop("Azurite", azurite.AddressOf("disk"), job_of(scale.bytes / 8), scale.rounds, kMostBesideLoop) &&
         good;
}

}  // namespace

int main(int count, char** arguments) { return bench::MainOf(count, arguments, Run); }
