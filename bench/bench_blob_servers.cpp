// What the blob benchmarks stand on: their own range server beside nginx, and what the delaying relay adds and carries.
#include <cstdio>
#include <string>

#include "bench/delay_relay.h"
#include "bench/disk_layout.h"
#include "bench/nginx_server.h"
#include "bench/range_server.h"
#include "bench/raw_transfer.h"
#include "bench/side_by_side.h"

namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t kDiskSize = 64 * bench::kGib;
constexpr std::size_t kTransfers = 8;

bool OwnBesideNginx(const bench::RangeServer& own, const bench::Scale& scale) {
  const bench::NginxServer nginx(kDiskSize);
  const auto blocks = bench::CutIntoBlocks({{0, scale.bytes}});
  bool within = true;
  for (const long buffer : {16L * 1024, 128L * 1024, 512L * 1024}) {
    const bench::Sides sides = bench::MeasureSides(
        scale.rounds, [&] { bench::ReadSerially(bench::AddressAt(own.port()), blocks, buffer); },
        [&] { bench::ReadSerially(nginx.address(), blocks, buffer); });
    const std::string title = "raw loop, curl buffer of " + std::to_string(buffer / 1024) + " KiB";
    within = bench::ReportSides(title, "own range server", "nginx", scale.bytes, sides, {.time = 1.1}) && within;
  }
  return within;
}

// Round trips of requests for 512 bytes, and how much eight transfers get through.
bool RelayBesideDirect(const bench::RangeServer& own, const bench::Scale& scale) {
  const bench::DelayRelay relay(own.port(), 5ms);
  const std::vector<bench::PageRange> small(100, {0, 512});
  const double trip = bench::Seconds([&] { bench::ReadSerially(bench::AddressAt(relay.port()), small, 16384); }) / 100;
  std::printf("a request for 512 bytes through the relay: %.2f ms; from 10 to 11 wanted\n", trip * 1e3);
  const auto blocks = bench::CutIntoBlocks({{0, scale.bytes}});
  const auto read = [&](std::uint16_t port) {
    return [&blocks, port] { bench::ReadInParallel(bench::AddressAt(port), blocks, kTransfers, 128L * 1024); };
  };
  const bench::Sides sides = bench::MeasureSides(scale.rounds, read(relay.port()), read(own.port()));
  bench::ReportSides("eight raw transfers", "10 ms round trip", "direct", scale.bytes, sides, {});
  return trip >= 0.010 && trip < 0.011;
}

bool Run(const bench::Scale& scale) {
  const bench::RangeServer own(kDiskSize, {{0, kDiskSize}});
  const bool within = OwnBesideNginx(own, scale);
  return RelayBesideDirect(own, scale) && within;
}

}  // namespace

int main(int count, char** arguments) { return bench::MainOf(count, arguments, Run); }
