#include "bench/backed_up_disk.h"

#include <array>
#include <stdexcept>
#include <vector>

#include "sim/generated_world.h"

namespace bench {
namespace {

constexpr const char* kBackup = "1700000000";
constexpr const char* kMachine = "vm-00001";
constexpr const char* kGroup = "group-001";

sim::World OneMachine() {
  return sim::generate_world({.groups = 1, .machines = 1, .data_disks = 0, .managed_percent = 100});
}

std::string MachinePath(const sim::World& world) {
  return "/" + world.subscriptions[0].id + "/" + kGroup + "/" + kMachine;
}

std::string DiskPath(const sim::World& world) {
  const sim::MachineDisk& disk = world.subscriptions[0].resource_groups.at(kGroup).machines.at(kMachine).os_disk;
  return MachinePath(world) + "/ManagedDisks:Premium_LRS/" + disk.managed_disk->group + "/" + disk.managed_disk->name;
}

sim::Options OptionsFor(const sim::World& world) {
  sim::Options options;
  options.world = world;
  return options;
}

}  // namespace

BackedUpDisk::BackedUpDisk(const std::string& blob_address)
    : world_(OneMachine()),
      path_(DiskPath(world_)),
      simulator_(OptionsFor(world_)),
      session_(simulator_, world_, "VM_SNAPSHOT_IN_DISCOVERY=false\n") {
  simulator_.add_fault({.method = "POST",
                        .target = "beginGetAccess",
                        .times = sim::Fault::forever,
                        .action = sim::AnswerWith{.response = {.status = 200,
                                                               .body = R"({"properties": {"output": {"accessSAS": ")" +
                                                                       blob_address + "\"}}}"}}});
  // The machine is known once one of its metadata objects was asked for.
  aapi_object_info_v1_t info{};
  const std::string name = MachinePath(world_) + "/Metadata/VmName=" + kMachine;
  Check("get_object_prop_byname", session_.table().get_object_prop_byname(session_.server(), name.c_str(), &info));
}

std::uint64_t BackedUpDisk::Read(std::size_t piece, const Consumer& consumer) {
  const aapi_entry_points_t& table = session_.table();
  aapi_server_t* const server = session_.server();
  std::array<char, 1024> real{};
  Check("get_snappath_from_realpath",
        table.get_snappath_from_realpath(server, kBackup, path_.c_str(), real.data(), real.size()));
  aapi_object_info_v1_t info{};
  Check("get_object_prop_byname", table.get_object_prop_byname(server, path_.c_str(), &info));
  aapi_object_t* object = nullptr;
  Check("open_object", table.open_object(server, path_.c_str(), 0, &object));
  std::vector<char> buffer(piece + 1);
  std::uint64_t total = 0;
  std::uint64_t count = 0;
  do {
    Check("read_object", table.read_object(object, buffer.data(), piece, total, &count));
    consumer(std::span(buffer.data(), count));
    total += count;
  } while (count != 0);
  Check("close_object", table.close_object(object));
  return total;
}

void BackedUpDisk::Check(const char* call, std::uint32_t status) const {
  if (status != 0) throw std::runtime_error(std::string(call) + " of " + path_ + ": " + std::to_string(status));
}

}  // namespace bench
