#include "bench/restored_disk.h"

#include <algorithm>
#include <array>
#include <span>
#include <stdexcept>

#include "bench/disk_layout.h"
#include "bench/raw_transfer.h"
#include "sim/generated_world.h"

namespace bench {
namespace {

sim::World OneMachine() {
  return sim::generate_world({.groups = 1, .machines = 1, .data_disks = 0, .managed_percent = 0});
}

std::string DiskPath(const sim::World& world, std::uint16_t blob_port) {
  const std::string& account = world.storage_accounts.begin()->first;
  return "/" + world.subscriptions[0].id + "/group-001/vm-00001/" + account + ".blob." + world.region + "." +
         world.domain + ":" + std::to_string(blob_port) + "/vhds/disk.vhd";
}

sim::Options OptionsFor(const sim::World& world, std::uint16_t blob_port) {
  sim::Options options;
  options.world = world;
  options.blob_port = blob_port;
  return options;
}

// Header, table and padding, as a backup of such a disk has them.
std::vector<std::byte> LeadingSections(std::uint64_t size, const std::vector<PageRange>& ranges) {
  constexpr std::uint64_t kFilledUpTo = 131072;
  const std::uint64_t metadata = 40 + 16 * ranges.size();
  const std::uint64_t padding = kFilledUpTo - metadata % kFilledUpTo;
  const std::array<std::uint64_t, 5> header{metadata, size, TotalLength(ranges), ranges.size(), padding};
  std::vector<std::byte> bytes;
  bytes.reserve(metadata + padding);
  const auto append = [&bytes](const auto& words) {
    const auto view = std::as_bytes(std::span(words));
    bytes.insert(bytes.end(), view.begin(), view.end());
  };
  append(header);
  append(ranges);
  bytes.resize(metadata + padding);
  return bytes;
}

}  // namespace

RestoredDisk::RestoredDisk(std::uint16_t blob_port)
    : world_(OneMachine()),
      path_(DiskPath(world_, blob_port)),
      simulator_(OptionsFor(world_, blob_port)),
      session_(simulator_, world_, {}, AAPI_SESSION_RESTORE) {}

void RestoredDisk::Write(std::uint64_t size, const std::vector<PageRange>& ranges, const std::vector<std::byte>& data,
                         std::size_t piece) {
  const aapi_entry_points_t& table = session_.table();
  aapi_object_info_v1_t info{};
  Check("get_object_prop_byname", table.get_object_prop_byname(session_.server(), path_.c_str(), &info), 2);
  aapi_object_t* object = nullptr;
  Check("create_object", table.create_object(session_.server(), path_.c_str(), nullptr, &object));
  std::uint64_t offset = 0;
  const auto write = [&](const std::byte* bytes, std::uint64_t length) {
    for (std::uint64_t done = 0; done < length;) {
      std::uint64_t count = 0;
      const std::uint64_t now = std::min<std::uint64_t>(piece, length - done);
      Check("write_object", table.write_object(object, bytes + done, now, offset, &count));
      done += count;
      offset += count;
    }
  };
  const std::vector<std::byte> leading = LeadingSections(size, ranges);
  write(leading.data(), leading.size());
  for (const PageRange& block : CutIntoBlocks(ranges)) write(ContentOf(block, data), block.length);
  Check("close_object", table.close_object(object));
}

void RestoredDisk::Check(const char* call, std::uint32_t status, std::uint32_t wanted) const {
  if (status != wanted) throw std::runtime_error(std::string(call) + " of " + path_ + ": " + std::to_string(status));
}

}  // namespace bench
