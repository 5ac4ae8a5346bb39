// What the simulated Azure Stack holds when it starts: plain values, filled by code or from a JSON file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

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

struct ResourceGroup {
  std::string name;
  std::string location;
};

struct Subscription {
  std::string id;
  std::string display_name;
  std::string tenant_id;
  std::vector<ResourceGroup> resource_groups;
};

struct World {
  std::string region;
  std::string domain;  // under ".localhost", so that curl finds every host of it on the loopback interface
  std::string tenant_id;
  std::string audience;  // the one "resource" that tokens are given out for
  std::int64_t token_lifetime_seconds = 3600;
  std::vector<AadClient> aad_clients;
  std::vector<AdfsUser> adfs_users;
  std::vector<Subscription> subscriptions;
};

/// Two subscriptions, one client of AAD and one user of AD FS: the contents of worlds/demo.json.
World demo_world();

/// Reads a world from JSON text: an object with the members region, domain, tenantId, audience, tokenLifetimeSeconds
/// (3600 when absent), aadClients [{clientId, clientSecret}], adfsUsers [{userName, password, clientId}] and
/// subscriptions
/// [{id, displayName, tenantId (the world's when absent), resourceGroups [{name, location (the region when absent)}]}];
/// an array may be absent. Throws std::runtime_error, its text naming `origin` and the member that is missing,
/// unknown or of the wrong kind ("subscriptions[1].id").
World parse_world(std::string_view json, const std::string& origin);

/// Reads a world file; throws like parse_world, also when the file cannot be read.
World load_world(const std::filesystem::path& file);

}  // namespace sim
