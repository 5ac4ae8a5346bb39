// Backing up a disk through the entry table: reads of 1 MiB by a host that does nothing with them, beside bare curl
// loops over the same ranges; what a checksum and a repository cost on top; memory; and a disk of 100,000 ranges.
#include <openssl/evp.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/backed_up_disk.h"
#include "bench/child_process.h"
#include "bench/delay_relay.h"
#include "bench/disk_layout.h"
#include "bench/memory.h"
#include "bench/range_server.h"
#include "bench/raw_transfer.h"
#include "bench/side_by_side.h"

namespace {

using namespace std::chrono_literals;
using bench::BackedUpDisk;
using bench::PageRange;
using bench::Scale;

constexpr double kMostBesideLoop = 1 / 0.9;
constexpr bench::Bounds kBesideParallel = {.time = 1.15, .cpu = 2};
constexpr std::size_t kParallel = 8;
constexpr std::size_t kHostPiece = 4 * bench::kMib;  // as azsbackup reads
constexpr long kMostKib = 100L * 1024;

void Ignore(std::span<const char> /*bytes*/) {}

struct Digest {
  Digest() : context(EVP_MD_CTX_new(), &EVP_MD_CTX_free) { EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr); }
  void operator()(std::span<const char> bytes) { EVP_DigestUpdate(context.get(), bytes.data(), bytes.size()); }
  std::shared_ptr<EVP_MD_CTX> context;
};

/// A repository program that takes a stream on its standard input. Its folder and all it stores go with it.
class Repository {
 public:
  Repository() {
    setenv("RESTIC_REPOSITORY", (folder_.path() + "/repository").c_str(), 1);
    setenv("RESTIC_PASSWORD", "of a benchmark", 1);
    setenv("RESTIC_CACHE_DIR", (folder_.path() + "/cache").c_str(), 1);
    // NOLINTNEXTLINE(cert-env33-c): a constant command of a benchmark
    Require(std::system("restic --quiet init >&2"));
  }

  /// One stream into it, as read writes it.
  template <typename Read>
  void Store(Read&& read) const {
    const auto close = [](FILE* pipe) { Require(pclose(pipe)); };
    const std::unique_ptr<FILE, decltype(close)> pipe(
        // NOLINTNEXTLINE(cert-env33-c): a constant command of a benchmark
        popen("restic --quiet backup --stdin --stdin-filename disk >&2", "w"), close);
    if (!pipe) throw std::runtime_error("restic does not start");
    read([&](std::span<const char> bytes) {
      if (fwrite(bytes.data(), 1, bytes.size(), pipe.get()) != bytes.size()) {
        throw std::runtime_error("restic ended early");
      }
    });
  }

 private:
  static void Require(int result) {
    if (result != 0) static_cast<void>(std::fprintf(stderr, "restic failed: %d\n", result));
  }
  bench::TemporaryFolder folder_;
};

// What the ranges hold follows the leading sections, 40 + 16 bytes a range filled up to a multiple of 128 KiB.
bool StreamHolds(BackedUpDisk& disk, const bench::RangeServer& server, const std::vector<PageRange>& ranges) {
  std::string stream;
  disk.Read(kHostPiece, [&](std::span<const char> bytes) { stream.append(bytes.data(), bytes.size()); });
  std::uint64_t padding = 0;
  std::memcpy(&padding, stream.data() + 4 * sizeof padding, sizeof padding);
  std::uint64_t at = 40 + 16 * ranges.size();
  bool right = stream.size() == at + padding + bench::TotalLength(ranges) &&
               std::memcmp(stream.data() + 40, ranges.data(), 16 * ranges.size()) == 0;
  at += padding;
  for (std::size_t i = 0; right && i < ranges.size(); ++i) {
    right = server.Holds(ranges[i].offset, reinterpret_cast<const std::byte*>(stream.data() + at), ranges[i].length);
    at += ranges[i].length;
  }
  std::printf("%zu ranges, the last one at the disk's end: the stream's bytes are %s\n", ranges.size(),
              right ? "the blob's" : "WRONG");
  return right;
}

bool ManyRanges() {
  constexpr std::uint64_t kSize = bench::kGib;
  const std::vector<PageRange> ranges = bench::SpreadRanges(100'000, 512, kSize);
  const bench::RangeServer server(kSize, ranges);
  BackedUpDisk disk(bench::AddressAt(server.port()));
  return StreamHolds(disk, server, ranges);
}

template <typename Subject, typename Raw>
bool Compare(const char* title, const std::string& raw_name, std::uint64_t bytes, const bench::Bounds& bounds,
             int rounds, Subject&& subject, Raw&& raw) {
  bench::ResetPeak();
  const bench::Sides sides = bench::MeasureSides(rounds, subject, raw);
  const bool within = bench::ReportSides(title, "host", raw_name, bytes, sides, bounds);
  const long peak = bench::PeakKib();
  std::printf("  host: %.2f s of processor time a GiB; peak of resident memory %.1f MiB, at most %ld%s\n",
              sides.subject.cpu.median / (static_cast<double>(bytes) / static_cast<double>(bench::kGib)),
              static_cast<double>(peak) / 1024, kMostKib / 1024, peak <= kMostKib ? "" : "  BEYOND THE BOUND");
  return within && peak <= kMostKib;
}

void TellCost(const char* what, std::uint64_t bytes, int rounds, BackedUpDisk& disk, const auto& work) {
  const bench::Sides sides = bench::MeasureSides(rounds, work, [&] { disk.Read(kHostPiece, Ignore); });
  bench::ReportSides(what, "host", "reads of 4 MiB, nothing done", bytes, sides, {});
}

bool Run(const Scale& scale) {
  const std::vector<PageRange> ranges = bench::MixedRanges(scale.bytes);
  const std::vector<PageRange> blocks = bench::CutIntoBlocks(ranges);
  const bench::RangeServer server(64 * bench::kGib, ranges);
  const bench::DelayRelay relay(server.port(), 5ms);
  const std::string near_by = bench::AddressAt(server.port());
  const std::string far_away = bench::AddressAt(relay.port());
  bool good = ManyRanges();

  const long serial_buffer = bench::FastestBuffer([&](long size) { bench::ReadSerially(near_by, blocks, size); });
  BackedUpDisk near_disk(near_by);
  good = Compare(
             "loopback", "raw loop, buffer " + std::to_string(serial_buffer / 1024) + " KiB", scale.bytes,
             {.time = kMostBesideLoop}, scale.rounds, [&] { near_disk.Read(kHostPiece, Ignore); },
             [&] { bench::ReadSerially(near_by, blocks, serial_buffer); }) &&
         good;
  TellCost("loopback, reads of 1 MiB in place of 4", scale.bytes, scale.rounds, near_disk,
           [&] { near_disk.Read(bench::kMib, Ignore); });
  TellCost("loopback, SHA-256 of the stream", scale.bytes, scale.rounds, near_disk,
           [&] { near_disk.Read(kHostPiece, Digest()); });
  {
    const Repository repository;
    TellCost("loopback, into a restic repository that has the data", scale.bytes, 3, near_disk, [&] {
      repository.Store([&](const BackedUpDisk::Consumer& consumer) { near_disk.Read(kHostPiece, consumer); });
    });
  }
  const auto parallel = [&](long size) { bench::ReadInParallel(far_away, blocks, kParallel, size); };
  const long parallel_buffer = bench::FastestBuffer(parallel);
  BackedUpDisk far_disk(far_away);
  return Compare(
             "10 ms round trip", "8 transfers, buffer " + std::to_string(parallel_buffer / 1024) + " KiB", scale.bytes,
             kBesideParallel, scale.rounds, [&] { far_disk.Read(kHostPiece, Ignore); },
             [&] { parallel(parallel_buffer); }) &&
         good;
}

}  // namespace

int main(int count, char** arguments) { return bench::MainOf(count, arguments, Run); }
