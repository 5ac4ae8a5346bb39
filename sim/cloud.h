// The state that the routes answer from.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "sim/clock.h"
#include "sim/disk_store.h"
#include "sim/operation_store.h"
#include "sim/token_store.h"
#include "sim/world.h"

namespace sim {

/// The hosts of the installation, each with the port: "management.local.azurestack.localhost:8443".
struct Endpoints {
  std::string management;
  std::string aad;
  std::string adfs;
};

Endpoints endpoints_of(const World& world, std::uint16_t port);

/// Everything a request can read or change. Routes are called one at a time, so that nothing in here needs a lock.
struct Cloud {
  World world;
  Endpoints endpoints;
  std::uint16_t blob_port = 0;  // of the server that holds the blobs; 0: the one that https stands for
  SimulatedClock clock;
  TokenStore tokens;
  OperationStore operations;
  std::unique_ptr<DiskStore> disks;
};

/// "https://disks1.blob.local.azurestack.localhost:10000/"
std::string blob_endpoint(const Cloud& cloud, const std::string& account);

/// "https://disks1.blob.local.azurestack.localhost:10000/vhds/web-01.vhd"
std::string blob_address(const Cloud& cloud, const Blob& blob);

/// The storage account whose blob service an address leads to, in either scheme and with or without a port; null when
/// the world has none of that host.
const Named<StorageAccount>::value_type* account_at(const World& world, std::string_view address);

/// The blob of such an account that an address names; none when it does not.
std::optional<Blob> blob_at(const World& world, std::string_view address);

}  // namespace sim
