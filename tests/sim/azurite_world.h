// Simulators whose disks are in the run's blob service. For tests that are told to CMake with discover_azurite_tests:
//
//   const sim::Simulator simulator(sim_test::over_azurite());
#pragma once

#include <string>
#include <utility>

#include "sim/simulator.h"
#include "tests/azurite/azurite_server.h"

namespace sim_test {

/// The same world with its VHDs in containers of new names, so that tests can run at the same time and find the disks
/// as the world describes them. Managed disks have containers of their own anyway.
inline sim::World with_own_containers(sim::World world) {
  const std::string container = azurite::new_container_name();
  const auto move = [&container](sim::MachineDisk& disk) {
    if (disk.vhd) disk.vhd->container = container + "-" + disk.vhd->container;
  };
  for (sim::Subscription& subscription : world.subscriptions) {
    for (auto& [group_name, group] : subscription.resource_groups) {
      for (auto& [name, machine] : group.machines) {
        move(machine.os_disk);
        for (sim::MachineDisk& disk : machine.data_disks) move(disk);
      }
    }
  }
  return world;
}

/// The blob service knows the accounts of the demonstration world: a world of a test's own puts its VHDs into these.
inline sim::Options over_azurite(sim::World world = sim::demo_world()) {
  sim::Options options;
  options.world = with_own_containers(std::move(world));
  options.blob_port = azurite::port();
  return options;
}

}  // namespace sim_test
