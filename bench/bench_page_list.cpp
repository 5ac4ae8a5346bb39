// The list of a page blob's ranges, 250,000 of them: the client beside a bare transfer of the same windows with one
// look at every byte, in turn; and what a range costs in memory.
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "bench/client_transfer.h"
#include "bench/disk_layout.h"
#include "bench/memory.h"
#include "bench/range_server.h"
#include "bench/raw_transfer.h"
#include "bench/side_by_side.h"

namespace {

using bench::PageRange;

constexpr std::size_t kRanges = 250'000;
constexpr double kMostBesideRaw = 3;
constexpr double kMostBytesPerRange = 64;
constexpr long kBuffer = 512L * 1024;

struct Windows {
  std::vector<PageRange> places;
  std::uint64_t bytes = 0;
  std::uint64_t largest = 0;
};

Windows WindowsOf(const std::vector<bench::Request>& requests) {
  Windows windows;
  for (const bench::Request& request : requests) {
    if (request.verb != bench::Verb::kPageList) continue;
    windows.places.push_back(request.range);
    windows.bytes += request.body_bytes;
    windows.largest = std::max(windows.largest, request.body_bytes);
  }
  return windows;
}

// The list stays in memory, as with a caller, while the peak is read.
bool Memory(bench::RangeServer& server, Windows& windows) {
  malloc_trim(0);
  bench::ResetPeak();
  const long before = bench::ResidentKib();
  const std::vector<PageRange> ranges = bench::ListRanges(bench::AddressAt(server.port()));
  const double growth = static_cast<double>(bench::PeakKib() - before) * 1024;
  windows = WindowsOf(server.Requests());
  const double per_range = (growth - static_cast<double>(windows.largest)) / static_cast<double>(ranges.size());
  std::printf("%zu ranges in %zu windows, %.1f MiB of text, the largest window %.2f MiB\n", ranges.size(),
              windows.places.size(), static_cast<double>(windows.bytes) / bench::kMib,
              static_cast<double>(windows.largest) / bench::kMib);
  const bool within = per_range <= kMostBytesPerRange;
  std::printf("  peak of memory above the start %.1f MiB: %.1f bytes a range and one window, at most %.0f%s\n",
              growth / bench::kMib, per_range, kMostBytesPerRange, within ? "" : "  BEYOND THE BOUND");
  return within && ranges == bench::SpreadRanges(kRanges, 64 * bench::kKib, bench::kTib);
}

bool Run(const bench::Scale& scale) {
  bench::RangeServer server(bench::kTib, bench::SpreadRanges(kRanges, 64 * bench::kKib, bench::kTib));
  const std::string address = bench::AddressAt(server.port());
  Windows windows;
  const bool good = Memory(server, windows);
  const bench::Sides sides = bench::MeasureSides(
      scale.rounds, [&] { bench::ListRanges(address); },
      [&] { bench::ListWindows(address, windows.places, windows.largest, kBuffer); });
  return bench::ReportSides("page list", "client", "raw transfer and memchr", windows.bytes, sides,
                            {.time = kMostBesideRaw}) &&
         good;
}

}  // namespace

int main(int count, char** arguments) { return bench::MainOf(count, arguments, Run); }
