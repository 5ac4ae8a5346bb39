// What the simulated Azure Stack holds when it starts: plain values, filled by code or from a JSON file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "sim/resources.h"

namespace sim {

/// An application registered with the AAD authority.
struct AadClient {
  std::string client_id;
  std::string client_secret;
};

/// A user of the AD FS authority and the client that he signs in through.
struct AdfsUser {
  std::string user_name;
  std::string password;
  std::string client_id;
};

struct Subscription {
  std::string id = {};
  std::string display_name = {};
  std::string tenant_id = {};
  Named<ResourceGroup> resource_groups = {};
};

/// Some sizes that an Azure Stack offers.
std::vector<VmSize> standard_vm_sizes();

struct World {
  std::string region;
  std::string domain;  // under ".localhost", so that curl finds every host of it on the loopback interface
  std::string tenant_id;
  std::string audience;  // the one "resource" that tokens are given out for
  std::int64_t token_lifetime_seconds = 3600;
  std::size_t page_size = 0;  // elements on a page of a list; 0: no list comes in pages
  int operation_polls = 2;    // how often an asynchronous operation is told to be in progress before it has ended
  std::vector<AadClient> aad_clients;
  std::vector<AdfsUser> adfs_users;
  std::vector<VmSize> vm_sizes = standard_vm_sizes();
  std::vector<Subscription> subscriptions;
  Named<StorageAccount> storage_accounts;  // of all subscriptions: their names are host names, taken once in a cloud
};

/// The contents of worlds/demo.json: two subscriptions, machines with managed and unmanaged disks, one client of AAD
/// and one user of AD FS.
World demo_world();

/// Reads a world from JSON text in the form that worlds/README.md describes. Throws std::runtime_error, its text naming
/// `origin` and the member that is missing, unknown, of the wrong kind, or names something that is not there
/// ("subscriptions[1].id").
World parse_world(std::string_view json, const std::string& origin);

/// Reads a world file; throws like parse_world, also when the file cannot be read.
World load_world(const std::filesystem::path& file);

}  // namespace sim
